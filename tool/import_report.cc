#include "tool/import_report.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>

#include "tool/commands.h"
#include "tool/json.h"
#include "tool/readable.h"
#include "tool/text.h"

namespace quorvin {
namespace {

const char* nameOf(FileOutcome outcome) {
  return outcome == FileOutcome::added ? "added" : "known";
}

std::string files(std::size_t count) {
  return counted(static_cast<std::int64_t>(count), "file", "files");
}

std::string othersOf(const ImportSummary& summary) {
  std::string text = "; " + files(summary.skippedFiles) + " already there; " +
                     files(summary.refusedFiles) + " refused";
  if (summary.passedOverFiles > 0) {
    text += "; " + grouped(static_cast<std::int64_t>(summary.passedOverFiles)) + " passed over";
  }
  return text + ".";
}

void printLine(const nlohmann::ordered_json& json) {
  std::puts(textOf(json).c_str());
}

}  // namespace

void ImportReport::searching(std::size_t found) {
  if (!search_) search_.emplace("Searching");
  search_->step(found - std::exchange(found_, found));
}

void ImportReport::filesFound(std::size_t) {
  search_.reset();
  bar_.emplace(kSteps, isRehearsal() ? "Looking" : "Importing");
}

void ImportReport::fileDone(const ImportedFile& file) {
  if (file.outcome == FileOutcome::refused || file.outcome == FileOutcome::passedOver) return;
  if (file.outcome == FileOutcome::added) addedBytes_ += file.bytes;
  if (isJson()) {
    printLine({{"path", file.path}, {"status", nameOf(file.outcome)}, {"bytes", file.bytes}});
  } else if (isRehearsal() && file.outcome == FileOutcome::added) {
    std::printf("Would add %s\n", printable(file.path).c_str());
  }
}

void ImportReport::passedOver(const std::string& path) {
  if (isJson()) printLine({{"path", path}, {"status", "passedOver"}});
}

void ImportReport::problem(const std::string& path, const std::string& reason) {
  if (isJson()) printLine({{"path", path}, {"status", "refused"}, {"reason", reason}});
  std::string line = path + ": " + reason;
  if (bar_ && bar_->isDrawn()) {
    held_.push_back(std::move(line));
  } else {
    complain(line);
  }
}

void ImportReport::progressed(std::int64_t now, std::int64_t total) {
  if (isJson()) std::fflush(stdout);
  if (total <= 0) return;
  const auto steps =
      static_cast<std::size_t>(static_cast<double>(now) / static_cast<double>(total) * kSteps);
  bar_->step(steps - std::exchange(steps_, steps));
}

void ImportReport::end() {
  search_.reset();
  bar_.reset();
  for (const std::string& line : std::exchange(held_, {})) complain(line);
}

void ImportReport::print(const ImportSummary& summary, double seconds) const {
  if (isJson()) {
    const nlohmann::ordered_json json = {{"addedAssets", summary.addedAssets},
                                         {"addedFiles", summary.addedFiles},
                                         {"addedBytes", addedBytes_},
                                         {"knownFiles", summary.skippedFiles},
                                         {"refusedFiles", summary.refusedFiles},
                                         {"passedOver", summary.passedOverFiles},
                                         {"seconds", seconds},
                                         {"wasStopped", summary.wasStopped}};
    printLine({{isRehearsal() ? "dryRun" : "summary", json}});
  } else if (isRehearsal()) {
    std::printf("Would add %s, %s%s\n", files(summary.addedFiles).c_str(),
                readableSize(addedBytes_).c_str(), othersOf(summary).c_str());
  } else {
    std::puts(importSentence(summary, addedBytes_, seconds).c_str());
  }
}

void ImportReport::printError(const std::string& sentence) const {
  if (isJson()) printLine({{"error", sentence}});
  complain(sentence);
}

std::string importSentence(const ImportSummary& summary, std::int64_t addedBytes, double seconds) {
  std::string text = "Added " +
                     counted(static_cast<std::int64_t>(summary.addedAssets), "asset", "assets") +
                     " from " + files(summary.addedFiles);
  if (summary.addedFiles > 0) {
    text += ", " + readableSize(addedBytes) + " in " + readableTime(seconds);
    if (seconds > 0) {
      const double rate = static_cast<double>(addedBytes) / seconds;
      text += " (" + readableSize(static_cast<std::int64_t>(rate)) + "/s)";
    }
  }
  return text + othersOf(summary);
}

}  // namespace quorvin
