// Caching controls. Only the identifier cache exists; nothing else is cached.
#include "core/manager/image_manager.h"

namespace quorvin {

void ImageManager::clearAllCache(const ResultHolder& result) {
  {
    const NSLockHolder held(lock);
    assetMap = {};
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
