// quorvin import: files and folders into the library.
#include <csignal>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "host/locations.h"
#include "platform_linux/library/importer.h"
#include "platform_linux/media/media_worker_pool.h"
#include "tool/commands.h"
#include "tool/progress_bar.h"

namespace quorvin {
namespace {

/// Shows the progress. Problems are told at once, or, where a bar would be torn, after it.
class Progress : public ImportObserver {
 public:
  void filesFound(std::size_t total) override { bar_.emplace(total); }
  void fileDone(const std::string&) override { bar_->step(); }
  void problem(const std::string& path, const std::string& reason) override {
    std::string line = path + ": " + reason;
    if (bar_ && bar_->isDrawn()) {
      held_.push_back(std::move(line));
    } else {
      complain(line);
    }
  }

  void end() {
    bar_.reset();
    for (const std::string& line : std::exchange(held_, {})) complain(line);
  }

 private:
  std::optional<ProgressBar> bar_;
  std::vector<std::string> held_;
};

std::string counted(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

void printSummary(const ImportSummary& summary) {
  std::printf("Added %s from %s; %s already there; %s refused.\n",
              counted(summary.addedAssets, "asset", "assets").c_str(),
              counted(summary.addedFiles, "file", "files").c_str(),
              counted(summary.skippedFiles, "file", "files").c_str(),
              counted(summary.refusedFiles, "file", "files").c_str());
}

}  // namespace

int ImportCommand::run() const {
  std::signal(SIGPIPE, SIG_IGN);
  MediaWorkerPool media(
      {.program = mediaWorkerProgram(), .size = MediaWorkerOptions::sizeForThisMachine()});
  Progress progress;
  const auto summary = importIntoLibrary(library, media, {paths, album}, progress);
  progress.end();
  if (!summary) {
    complain(summary.error().localizedDescription);
    return kFailure;
  }
  printSummary(*summary);
  return summary->refusedFiles == 0 ? kSuccess : kFailure;
}

}  // namespace quorvin
