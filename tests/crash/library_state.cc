#include "tests/crash/library_state.h"

#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

LibraryState::Asset assetOf(Library& library, const std::string& identifier) {
  const auto resources = library.storedResources(identifier);
  if (!resources || resources->empty()) return {};
  return {resources->front()->originalFilename, resources->front()->path};
}

void readAlbums(Library& library, LibraryState& state) {
  PHFetchOptions all;
  all.includeAllBurstAssets = true;
  const auto albums = library.fetchAssetCollectionsWithType(PHAssetCollectionType::album,
                                                            PHAssetCollectionSubtype::any, nullptr);
  albums->enumerateObjectsUsingBlock([&](const PHAssetCollection& each) {
    LibraryState::Album& album = state.albums[each.localIdentifier];
    album.title = each.localizedTitle.value_or("");
    library.fetchAssetsInAssetCollection(each, &all)
        ->enumerateObjectsUsingBlock(
            [&album](const PHAsset& asset) { album.assets.insert(asset.localIdentifier); });
  });
}

}  // namespace

Result<LibraryState> readState(const std::string& path) {
  auto opened = Library::open({.path = path, .authorization = PHAuthorizationStatus::authorized});
  if (!opened) return opened.error();
  Library& library = **opened;
  LibraryState state;
  const auto recents = library.fetchAssetCollectionsWithType(
      PHAssetCollectionType::smartAlbum, PHAssetCollectionSubtype::smartAlbumUserLibrary, nullptr);
  PHFetchOptions all;
  all.includeAllBurstAssets = true;
  library.fetchAssetsInAssetCollection(*recents->firstObject(), &all)
      ->enumerateObjectsUsingBlock([&](const PHAsset& asset) {
        state.assets[asset.localIdentifier] = assetOf(library, asset.localIdentifier);
      });
  readAlbums(library, state);
  const auto trashed = listTrash(path);
  if (!trashed) return trashed.error();
  for (const TrashedAsset& asset : *trashed) state.trash.insert(asset.localIdentifier);
  return state;
}

std::string findingsIn(const std::string& library) {
  const auto report = checkLibrary(library, {.content = true});
  if (!report) return report.error().sentence();
  std::string findings;
  for (const LibraryFinding& finding : report->findings) findings += finding.sentence + "\n";
  return findings;
}

bool isWhole(const LibraryState::Asset& asset) {
  static const std::string kMedia = QUORVIN_GENERATED_MEDIA "/good/";
  const std::string content = readFile(kMedia + asset.name);
  return !asset.name.empty() && !content.empty() && content == readFile(asset.original);
}

}  // namespace quorvin
