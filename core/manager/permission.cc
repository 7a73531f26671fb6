// Permission: only full access counts.
#include <utility>

#include "core/manager/image_manager.h"

namespace quorvin {

void ImageManager::getPermission(const ResultHolder& result) {
  getPermissionIfNecessary(
      [self = shared_from_this(), result](bool granted) { self->sendResult(result, granted); });
}

void ImageManager::getPermissionIfNecessary(std::function<void(bool)> completionHandler) {
  PHPhotoLibrary& library = platform.sharedPhotoLibrary;
  if (library.authorizationStatus() == PHAuthorizationStatus::authorized) {
    completionHandler(true);
    return;
  }
  library.requestAuthorization(
      [completionHandler = std::move(completionHandler)](PHAuthorizationStatus status) {
        completionHandler(status == PHAuthorizationStatus::authorized);
      });
}

}  // namespace quorvin
