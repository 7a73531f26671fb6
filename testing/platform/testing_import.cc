#include "testing/platform/testing_import.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <utility>

#include "platform_linux/library/import/rehearsal.h"

namespace quorvin {

namespace fs = std::filesystem;

void ImportListener::problem(const std::string& path, const std::string& reason) {
  problems[fs::path(path).filename().string()] = reason;
}

void ImportListener::forget() {
  auto kept = std::move(onDone);
  *this = {};
  onDone = std::move(kept);
}

void ImportListener::fileDone(const ImportedFile& file) {
  done.push_back(file.path);
  outcomes[fs::path(file.path).filename().string()] = file.outcome;
  if (onDone) onDone(file);
}

std::string ImportFixture::put(const std::string& name, const std::string& content) const {
  const std::string path = folder / ("in/" + name);
  writeFile(path, content);
  return path;
}

Result<ImportSummary> ImportFixture::tryImport(std::vector<std::string> paths,
                                               std::optional<std::string> album) {
  listener.forget();
  const ImportOptions options{std::move(paths), std::move(album), filesAtOnce, stop.get_token()};
  return importIntoLibrary(libraryPath(), media, options, listener);
}

ImportSummary ImportFixture::import(std::vector<std::string> paths,
                                    std::optional<std::string> album) {
  const auto summary = tryImport(std::move(paths), std::move(album));
  EXPECT_TRUE(summary) << summary.error().sentence();
  return summary ? *summary : ImportSummary{};
}

ImportSummary ImportFixture::rehearse(std::vector<std::string> paths) {
  listener.forget();
  const ImportOptions options{std::move(paths), std::nullopt, filesAtOnce, stop.get_token()};
  const auto summary = rehearseImport(libraryPath(), media, options, listener);
  EXPECT_TRUE(summary) << summary.error().sentence();
  return summary ? *summary : ImportSummary{};
}

std::unique_ptr<Library> ImportFixture::open() const {
  auto opened =
      Library::open({.path = libraryPath(), .authorization = PHAuthorizationStatus::authorized});
  if (!opened) fatalError(opened.error().sentence());
  return *std::move(opened);
}

std::vector<std::string> ImportFixture::assets() const {
  const auto library = open();
  PHFetchOptions all;
  all.includeAllBurstAssets = true;
  all.includeHiddenAssets = true;
  const auto recents =
      library->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 209, nullptr);
  std::vector<std::string> described;
  library->fetchAssetsInAssetCollection(*recents->firstObject(), &all)
      ->enumerateObjectsUsingBlock([&](const PHAsset& asset) {
        std::string text = std::to_string(static_cast<int>(asset.mediaType));
        for (const auto& resource : library->assetResourcesForAsset(asset)) {
          text += " " + std::to_string(static_cast<int>(resource->type)) + ":" +
                  resource->originalFilename;
        }
        if ((asset.mediaSubtypes & 8) != 0) text += " live";
        if (asset.burstIdentifier) text += " burst";
        if (asset.representsBurst) text += " represents";
        described.push_back(text);
      });
  return described;
}

PHAsset ImportFixture::only() const {
  const auto library = open();
  const auto recents =
      library->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 209, nullptr);
  const auto found = library->fetchAssetsInAssetCollection(*recents->firstObject(), nullptr);
  EXPECT_EQ(found->count(), 1U);
  return found->count() == 1 ? *found->firstObject() : PHAsset{};
}

void ImportFixture::expectSound() const {
  open().reset();  // tidies
  Gardener gardener(libraryPath());
  EXPECT_EQ(gardener.text("PRAGMA integrity_check"), "ok");
  EXPECT_EQ(gardener.text("PRAGMA foreign_key_check"), "");
  EXPECT_TRUE(fs::is_empty(folder / "library/incoming"));
  const auto files = filesBelow(folder / "library/originals");
  EXPECT_EQ(gardener.integer("SELECT count(*) FROM resources"),
            static_cast<std::int64_t>(files.size()));
  for (const std::string& file : files) {
    const std::string path = folder / ("library/originals/" + file);
    EXPECT_EQ(gardener.text("SELECT size FROM resources WHERE path = '" + file + "'"),
              std::to_string(fs::file_size(path)));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms(0400));
  }
  EXPECT_EQ(gardener.integer("SELECT count(*) FROM assets WHERE NOT EXISTS"
                             " (SELECT 1 FROM resources WHERE asset = id)"),
            0);
}

}  // namespace quorvin
