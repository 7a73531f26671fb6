// From an identifier to its asset: the cache first, then the library.
#include <array>

#include "core/manager/image_manager.h"

namespace quorvin {

ImageManager::Asset ImageManager::getPHAsset(const std::string& fromId) {
  const NSLockHolder held(lock);
  if (const auto cached = assetMap.find(fromId); cached != assetMap.end()) return cached->second;
  return platform.sharedPhotoLibrary.fetchAssetsWithLocalIdentifiers(std::array{fromId}, nullptr)
      ->firstObject();
}

}  // namespace quorvin
