// From an identifier to its asset: the cache first, then the library.
#include <array>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"

namespace quorvin {

ImageManager::Asset ImageManager::getPHAsset(const std::string& fromId) {
  const NSLockHolder held(lock);
  if (const auto cached = assetMap.find(fromId); cached != assetMap.end()) return cached->second;
  return fetchAsset(fromId);
}

ImageManager::Asset ImageManager::findAsset(const std::string& assetId,
                                            const ResultHolder& result) {
  Asset asset = getPHAsset(assetId);
  if (asset == nullptr) fail(result, errors::withId(errors::kAssetNotFound, assetId));
  return asset;
}

ImageManager::Asset ImageManager::findAsset(const FlutterMethodCall& call,
                                            const ResultHolder& result) {
  std::string assetId;
  if (Arguments(call.arguments).string("assetId", assetId)) return findAsset(assetId, result);
  fail(result, errors::kErrorArguments);
  return nullptr;
}

ImageManager::Asset ImageManager::fetchAsset(const std::string& identifier) {
  return platform.sharedPhotoLibrary
      .fetchAssetsWithLocalIdentifiers(std::array{identifier}, nullptr)
      ->firstObject();
}

ImageManager::Album ImageManager::fetchAlbum(const std::string& identifier) {
  return platform.sharedPhotoLibrary
      .fetchAssetCollectionsWithLocalIdentifiers(std::array{identifier}, nullptr)
      ->firstObject();
}

}  // namespace quorvin
