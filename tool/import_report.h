// What is told of an import while it runs, and afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/import/importer.h"
#include "tool/progress_bar.h"

namespace quorvin {

/// Shows the progress on standard error. Problems are told at once, or, where a bar would be torn,
/// after it. For programs there is a line of JSON on standard output for each file as well.
class ImportReport : public ImportObserver {
 public:
  enum class Kind { plain, json, rehearsal, jsonRehearsal };
  explicit ImportReport(Kind kind) : kind_(kind) {}

  void searching(std::size_t found) override;
  void filesFound(std::size_t total) override;
  void fileDone(const ImportedFile& file) override;
  void passedOver(const std::string& path) override;
  void problem(const std::string& path, const std::string& reason) override;
  void progressed(std::int64_t now, std::int64_t total) override;

  /// No more comes: takes the bar away, and tells what was held back for it.
  void end();

  /// Of what was added.
  std::int64_t addedBytes() const { return addedBytes_; }
  /// After the end; the import took so long.
  void print(const ImportSummary& summary, double seconds) const;
  /// In place of a summary.
  void printError(const std::string& sentence) const;

 private:
  static constexpr std::size_t kSteps = 1000;

  bool isJson() const { return kind_ == Kind::json || kind_ == Kind::jsonRehearsal; }
  bool isRehearsal() const { return kind_ == Kind::rehearsal || kind_ == Kind::jsonRehearsal; }

  const Kind kind_;
  std::optional<ProgressBar> search_;
  std::optional<ProgressBar> bar_;
  std::size_t found_ = 0;  ///< that were told of
  std::size_t steps_ = 0;
  std::int64_t addedBytes_ = 0;
  std::vector<std::string> held_;
};

/// "Added 2 assets from 3 files, 48.2 MB in 3.1 s (15.5 MB/s); …", without an end of line.
std::string importSentence(const ImportSummary& summary, std::int64_t addedBytes, double seconds);

}  // namespace quorvin
