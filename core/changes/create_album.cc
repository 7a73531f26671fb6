// createAlbum: a new user album.
#include <array>
#include <memory>
#include <optional>
#include <string>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/changes.h"
#include "core/queries/gallery_record.h"

namespace quorvin {

void ImageManager::createAlbum(const FlutterMethodCall& call, const ResultHolder& result) {
  std::string title;
  if (!Arguments(call.arguments).string("title", title)) {
    return sendError(result, errors::kCode, errors::kErrorArguments);
  }
  const auto placeholder = std::make_shared<std::optional<PHObjectPlaceholder>>();
  platform.photoLibraryChanges.performChanges(
      [placeholder, title](PHChangeRequests& requests) {
        *placeholder = requests.creationRequestForAssetCollectionWithTitle(title);
      },
      [self = shared_from_this(), result, placeholder](bool success,
                                                       const std::optional<NSError>& error) {
        if (!success) return self->sendChangeError(result, errors::kCreateAlbumError, error);
        self->replyAlbum(result, *placeholder);
      });
}

void ImageManager::replyAlbum(const ResultHolder& result,
                              const std::optional<PHObjectPlaceholder>& placeholder) {
  if (!placeholder) {
    return sendError(result, errors::kCode, errors::kCreateAlbumError, errors::kNilPlaceholder);
  }
  const std::array identifiers{placeholder->localIdentifier};
  const auto album =
      platform.sharedPhotoLibrary.fetchAssetCollectionsWithLocalIdentifiers(identifiers, nullptr)
          ->firstObject();
  if (album == nullptr) {
    return sendError(result, errors::kCode, errors::kCreateAlbumError, errors::kFetchResultError);
  }
  sendResult(result, galleryToMap("user"_lit, *album, {}));
}

}  // namespace quorvin
