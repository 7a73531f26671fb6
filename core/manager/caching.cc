// Caching controls. Only the identifier cache exists; nothing else is cached.
#include <utility>

#include "core/manager/image_manager.h"

namespace quorvin {

void ImageManager::clearAllCache(const ResultHolder& result) {
  // Many entries take their time to go: nobody waits for the lock meanwhile.
  decltype(assetMap) dropped;
  {
    const NSLockHolder held(lock);
    std::swap(assetMap, dropped);
  }
  sendResult(result, true);
}

void ImageManager::stopAllCachingImages(const ResultHolder& result) {
  sendResult(result, true);
}

void ImageManager::cachingImages(bool, const FlutterMethodCall&, const ResultHolder& result) {
  sendResult(result, true);
}

}  // namespace quorvin
