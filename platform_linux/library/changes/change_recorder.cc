#include "platform_linux/library/changes/change_recorder.h"

#include "platform_linux/library/fetch/asset_fetch.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {

std::optional<PHObjectPlaceholder> ChangeRecorder::creationRequestForAssetFromImageAtFileURL(
    const std::string& path) {
  return createAsset(MediaKind::image, path);
}

std::optional<PHObjectPlaceholder> ChangeRecorder::creationRequestForAssetFromVideoAtFileURL(
    const std::string& path) {
  return createAsset(MediaKind::video, path);
}

PHObjectPlaceholder ChangeRecorder::createAsset(MediaKind kind, const std::string& path) {
  PHObjectPlaceholder placeholder{newAssetIdentifier()};
  requests_.emplace_back(CreateAsset{placeholder.localIdentifier, kind, path});
  return placeholder;
}

void ChangeRecorder::deleteAssets(const PHFetchResult<PHAsset>& assets) {
  DeleteAssets request;
  if (auto rows = rowsOf(assets, catalogue_)) {
    request.rows = *std::move(rows);
  } else {
    assets.enumerateObjectsUsingBlock(
        [&request](const PHAsset& asset) { request.identifiers.push_back(asset.localIdentifier); });
  }
  if (request.rows.empty() && request.identifiers.empty()) return;
  requests_.emplace_back(std::move(request));
}

std::optional<PHObjectPlaceholder> ChangeRecorder::creationRequestForAssetCollectionWithTitle(
    const std::string& title) {
  PHObjectPlaceholder placeholder{newCollectionIdentifier()};
  requests_.emplace_back(CreateAlbum{placeholder.localIdentifier, title});
  return placeholder;
}

bool ChangeRecorder::addAssets(const PHAssetCollection& album,
                               std::span<const PHObjectPlaceholder> assets) {
  if (album.assetCollectionType != PHAssetCollectionType::album) return false;
  AddToAlbum request{album.localIdentifier, {}};
  for (const PHObjectPlaceholder& asset : assets) request.assets.push_back(asset.localIdentifier);
  requests_.emplace_back(std::move(request));
  return true;
}

}  // namespace quorvin
