// quorvin watch: what appears in folders comes into the library.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/library/import/importer.h"
#include "platform_linux/library/inbox/inbox.h"
#include "tool/commands.h"
#include "tool/import_report.h"
#include "tool/interruption.h"
#include "tool/media_workers.h"
#include "tool/text.h"

namespace quorvin {
namespace {

/// Problems are told once the import has come to its end: one that fails meets them again the next
/// time. There is no bar, for nobody looks.
class ArrivalReport : public ImportObserver {
 public:
  void filesFound(std::size_t) override {}
  void fileDone(const ImportedFile& file) override {
    if (file.outcome == FileOutcome::added) addedBytes_ += file.bytes;
  }
  void problem(const std::string& path, const std::string& reason) override {
    problems_.push_back(path + ": " + reason);
  }
  void tellProblems() const {
    for (const std::string& each : problems_) complain(each);
  }
  std::int64_t addedBytes() const { return addedBytes_; }

 private:
  std::int64_t addedBytes_ = 0;
  std::vector<std::string> problems_;
};

class Watching : public InboxOwner {
 public:
  Watching(const WatchCommand& command, MediaService& media, std::size_t workers,
           std::stop_token stop)
      : command_(command), media_(media), workers_(workers), stop_(std::move(stop)) {}

  void isWatching() override {
    std::string folders;
    for (const std::string& each : command_.folders)
      folders += (folders.empty() ? "" : ", ") + each;
    say("Watching " + printable(folders) + ".");
  }

  Done import(const std::vector<std::string>& files) override {
    ArrivalReport report;
    const auto begin = std::chrono::steady_clock::now();
    const ImportOptions options{.paths = files,
                                .albumTitle = command_.album,
                                .filesAtOnce = workers_,
                                .stop = stop_,
                                .foldersAreAlbums = command_.foldersAreAlbums};
    const auto summary = importIntoLibrary(command_.library, media_, options, report);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    if (!summary) return summary.error();
    report.tellProblems();
    if (summary->addedFiles > 0) say(importSentence(*summary, report.addedBytes(), time.count()));
    if (summary->addedAssets > 0 && !summary->wasStopped) {
      makeMissingPreviews(command_.library, media_, summary->addedAssets, stop_);
    }
    return Null{};
  }

  void problem(const std::string& sentence) override { complain(sentence); }

 private:
  // At once, also where standard output is a file or the system's journal.
  static void say(const std::string& line) {
    std::puts(line.c_str());
    std::fflush(stdout);
  }

  const WatchCommand& command_;
  MediaService& media_;
  const std::size_t workers_;
  const std::stop_token stop_;
};

}  // namespace

int WatchCommand::run() const {
  // Nobody who stops listening ends it.
  std::signal(SIGPIPE, SIG_IGN);
  const Interruption interruption;
  MediaWorkers workers;
  Watching watching(*this, workers.media(), workers.count(), interruption.token());
  watchFolders({.folders = folders, .library = library, .stop = interruption.token()}, watching);
  return kSuccess;
}

}  // namespace quorvin
