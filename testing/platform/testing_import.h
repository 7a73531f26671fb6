// Imports into a library of a test's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/import/importer.h"
#include "testing/platform/testing_library.h"
#include "testing/platform/testing_media.h"

namespace quorvin {

class ImportListener final : public ImportObserver {
 public:
  void filesFound(std::size_t total) override { found = total; }
  void fileDone(const ImportedFile& file) override;
  void passedOver(const std::string& path) override { overlooked.push_back(path); }
  void problem(const std::string& path, const std::string& reason) override;
  void progressed(std::int64_t now, std::int64_t total) override {
    progress.emplace_back(now, total);
  }

  /// What it was told, before the next import.
  void forget();

  std::function<void(const ImportedFile&)> onDone;
  std::size_t found = 0;
  std::vector<std::string> done;
  std::map<std::string, FileOutcome> outcomes;  ///< by name, without the folder
  std::vector<std::string> overlooked;
  std::map<std::string, std::string> problems;  ///< by name, without the folder
  std::vector<std::pair<std::int64_t, std::int64_t>> progress;
};

/// There is no library until an import or `open` makes it.
struct ImportFixture {
  TemporaryFolder folder;
  ScriptedMedia media;
  ImportListener listener;
  std::size_t filesAtOnce = 1;
  std::stop_source stop;

  /// A file in the folder `in`; its path.
  std::string put(const std::string& name, const std::string& content) const;

  Result<ImportSummary> tryImport(std::vector<std::string> paths,
                                  std::optional<std::string> album = std::nullopt);
  ImportSummary import(std::vector<std::string> paths,
                       std::optional<std::string> album = std::nullopt);
  ImportSummary importAll() { return import({folder / "in"}); }
  ImportSummary rehearse(std::vector<std::string> paths);

  std::string libraryPath() const { return folder / "library"; }
  std::unique_ptr<Library> open() const;

  /// "type resources marks" of each asset, in order of addition, burst members and all.
  std::vector<std::string> assets() const;
  /// The one that listings show.
  PHAsset only() const;

  /// Every original is named by the catalogue, of its size, read-only; nothing else lies around.
  void expectSound() const;
};

}  // namespace quorvin
