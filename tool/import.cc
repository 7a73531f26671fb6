// quorvin import: files and folders into the library.
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "host/locations.h"
#include "platform_linux/library/import/importer.h"
#include "platform_linux/media/failure_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/media/remembering_media.h"
#include "tool/commands.h"
#include "tool/progress_bar.h"
#include "tool/text.h"

namespace quorvin {
namespace {

/// Shows the progress. Problems are told at once, or, where a bar would be torn, after it.
class Progress : public ImportObserver {
 public:
  void searching(std::size_t found) override {
    if (!search_) search_.emplace("Searching");
    search_->step(found - std::exchange(found_, found));
  }
  void filesFound(std::size_t) override {
    search_.reset();
    bar_.emplace(kSteps, "Importing");
  }
  void fileDone(const std::string&) override {}
  void problem(const std::string& path, const std::string& reason) override {
    std::string line = path + ": " + reason;
    if (bar_ && bar_->isDrawn()) {
      held_.push_back(std::move(line));
    } else {
      complain(line);
    }
  }
  void progressed(std::int64_t now, std::int64_t total) override {
    if (total <= 0) return;
    const auto steps =
        static_cast<std::size_t>(static_cast<double>(now) / static_cast<double>(total) * kSteps);
    bar_->step(steps - std::exchange(steps_, steps));
  }

  void end() {
    search_.reset();
    bar_.reset();
    for (const std::string& line : std::exchange(held_, {})) complain(line);
  }

 private:
  static constexpr std::size_t kSteps = 1000;
  std::optional<ProgressBar> search_;
  std::optional<ProgressBar> bar_;
  std::size_t found_ = 0;  ///< that were told of
  std::size_t steps_ = 0;
  std::vector<std::string> held_;
};

std::string files(std::size_t count) {
  return counted(static_cast<std::int64_t>(count), "file", "files");
}

void printSummary(const ImportSummary& summary) {
  std::printf("Added %s from %s; %s already there; %s refused",
              counted(static_cast<std::int64_t>(summary.addedAssets), "asset", "assets").c_str(),
              files(summary.addedFiles).c_str(), files(summary.skippedFiles).c_str(),
              files(summary.refusedFiles).c_str());
  if (summary.passedOverFiles > 0) {
    std::printf("; %s passed over",
                grouped(static_cast<std::int64_t>(summary.passedOverFiles)).c_str());
  }
  std::puts(".");
}

}  // namespace

int ImportCommand::run() const {
  // Nobody who stops listening, to the bar or to the problems, ends the import.
  const auto atBrokenPipe = std::signal(SIGPIPE, SIG_IGN);
  const std::string program = mediaWorkerProgram();
  const std::size_t workers = MediaWorkerOptions::sizeForThisMachine();
  MediaWorkerPool pool({.program = program, .size = workers});
  FailureMemory failures(failedFilesPath(), program);
  RememberingMedia media(pool, pool, failures);
  Progress progress;
  const auto summary = importIntoLibrary(library, media, {paths, album, workers}, progress);
  progress.end();
  std::signal(SIGPIPE, atBrokenPipe);
  if (!summary) {
    complain(summary.error().sentence());
    return kFailure;
  }
  printSummary(*summary);
  // What is not made now comes later, so that its failures are no failures of the import.
  if (summary->addedAssets > 0) {
    std::fflush(stdout);
    makeMissingPreviews(library, media, summary->addedAssets);
  }
  return summary->refusedFiles == 0 ? kSuccess : kFailure;
}

}  // namespace quorvin
