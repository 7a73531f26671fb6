// quorvin export: assets out of the library, as ordinary files.
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <stop_token>
#include <thread>

#include "host/locations.h"
#include "platform_linux/library/export/exporter.h"
#include "platform_linux/media/media_worker_pool.h"
#include "tool/commands.h"
#include "tool/progress_bar.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {
namespace {

/// Takes the interruptions of the program as long as it lives: the first one asks for an end, a
/// second one is the end.
class Interruptions {
 public:
  Interruptions() {
    ::sigemptyset(&signals_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&signals_, signal);
    ::pthread_sigmask(SIG_BLOCK, &signals_, &before_);
    waiting_ = std::jthread([this](const std::stop_token& done) { wait(done); });
  }
  ~Interruptions() {
    waiting_.request_stop();
    waiting_.join();
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

  std::stop_token token() const { return interrupted_.get_token(); }

 private:
  void wait(const std::stop_token& done) {
    constexpr struct timespec kMoment { 0, 100'000'000 };
    constexpr int kEndedBySignal = 128;
    while (!done.stop_requested()) {
      const int signal = ::sigtimedwait(&signals_, nullptr, &kMoment);
      if (signal > 0 && !interrupted_.request_stop()) ::_exit(kEndedBySignal + signal);
    }
  }

  sigset_t signals_;
  sigset_t before_;
  std::stop_source interrupted_;
  std::jthread waiting_;
};

ExportParts partsOf(const ExportCommand& command) {
  if (command.original) return ExportParts::original;
  return command.current ? ExportParts::current : ExportParts::all;
}

}  // namespace

int ExportCommand::run() const {
  const Interruptions interruptions;
  MediaWorkerPool media({.program = mediaWorkerProgram(), .size = 1});
  const auto report = [&] {
    OriginalsBar bar("Exporting");
    ExportOptions options{.album = album, .parts = partsOf(*this)};
    if (layout == "album") options.layout = ExportOptions::Layout::album;
    options.assetsFound = [&bar](std::size_t total) { bar.begin(total); };
    options.assetDone = [&bar] { bar.step(); };
    options.stop = interruptions.token();
    return exportLibrary(library, media, target, options);
  }();
  if (!report) {
    complain(report.error().sentence());
    return kFailure;
  }
  for (const std::string& problem : report->problems) complain(problem);
  if (report->ended)
    complain("the export ended early: " + *report->ended + " Run it again, and it goes on.");
  std::printf("Exported %s in %s: %s new, %s.\n",
              counted(report->assets, "asset", "assets").c_str(),
              counted(report->files, "file", "files").c_str(), grouped(report->newFiles).c_str(),
              readableSize(report->bytes).c_str());
  return report->problems.empty() && !report->ended ? kSuccess : kFailure;
}

}  // namespace quorvin
