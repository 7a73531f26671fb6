#include "tests/crash/library_state.h"

#include <sstream>

#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/snapshots/snapshot.h"
#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_folder.h"
#include "tests/crash/changer_media.h"

namespace quorvin {
namespace {

LibraryState::Asset assetOf(Library& library, const std::string& identifier) {
  const auto resources = library.storedResources(identifier);
  LibraryState::Asset asset;
  if (!resources) return asset;
  for (const auto& resource : *resources) {
    asset.name += (asset.name.empty() ? "" : "+") + resource->originalFilename;
    asset.originals.push_back(resource->path);
  }
  return asset;
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
  std::istringstream names(asset.name);
  std::size_t files = 0;
  for (std::string name; std::getline(names, name, '+'); ++files) {
    const std::string content = contentOf(QUORVIN_GENERATED_MEDIA "/good", name);
    if (content.empty() || files >= asset.originals.size()) return false;
    if (content != readFile(asset.originals[files])) return false;
  }
  return files > 0 && files == asset.originals.size();
}

std::vector<SnapshotState> snapshotsIn(const std::string& library) {
  const auto folder = libraryFolderAt(library);
  std::vector<SnapshotState> snapshots;
  if (!folder || folder->held == nullptr) return snapshots;
  for (const std::string& path : snapshotsOf(*folder)) {
    SnapshotState& snapshot = snapshots.emplace_back();
    snapshot.path = path;
    const auto copy = openSnapshot(*folder, path);
    if (!copy) continue;
    snapshot.isWhole =
        (*copy)->integer("PRAGMA application_id") == kCatalogueApplicationId && (*copy)->isSound();
    snapshot.version = (*copy)->integer("PRAGMA user_version").value_or(0);
  }
  return snapshots;
}

}  // namespace quorvin
