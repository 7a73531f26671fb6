// saveImage, saveVideo: a file as a new asset, in an album if wanted.
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/changes.h"
#include "core/platform/dispatch.h"
#include "core/queries/asset_record.h"

namespace quorvin {

/// One call on its way into the library.
struct ImageManager::MediaSave {
  ResultHolder result;
  std::string filePath;
  std::shared_ptr<const PHAssetCollection> album;  ///< null: none
  bool isVideo = false;
  std::optional<PHObjectPlaceholder> placeholder;  ///< written by the change block

  std::string_view message() const {
    return isVideo ? errors::kSaveVideoError : errors::kSaveImageError;
  }
};

void ImageManager::saveImage(const FlutterMethodCall& call, const ResultHolder& result) {
  saveMedia(call, result, false);
}

void ImageManager::saveVideo(const FlutterMethodCall& call, const ResultHolder& result) {
  saveMedia(call, result, true);
}

void ImageManager::saveMedia(const FlutterMethodCall& call, const ResultHolder& result,
                             bool isVideo) {
  const Arguments read(call.arguments);
  auto save = std::make_shared<MediaSave>(MediaSave{.result = result, .isVideo = isVideo});
  if (!read.string("filePath", save->filePath)) {
    return sendError(result, errors::kCode, errors::kErrorArguments);
  }
  std::array<std::string, 1> collectionId;
  // An identifier that is no text counts as none.
  if (read.string("collectionId", collectionId[0])) {
    save->album = platform.sharedPhotoLibrary
                      .fetchAssetCollectionsWithLocalIdentifiers(collectionId, nullptr)
                      ->firstObject();
    if (save->album == nullptr) return sendSaveError(*save, errors::kCollectionNotFound);
  }
  platform.photoLibraryChanges.performChanges(
      [self = shared_from_this(), save](PHChangeRequests& requests) {
        self->requestCreation(*save, requests);
      },
      [self = shared_from_this(), save](bool success, const std::optional<NSError>& error) {
        if (!success) return self->sendChangeError(save->result, save->message(), error);
        self->replySaved(*save);
      });
}

// A fault is answered here, although the completion follows and may answer once more.
void ImageManager::requestCreation(MediaSave& save, PHChangeRequests& requests) {
  const auto placeholder = save.isVideo
                               ? requests.creationRequestForAssetFromVideoAtFileURL(save.filePath)
                               : requests.creationRequestForAssetFromImageAtFileURL(save.filePath);
  if (!placeholder) return sendSaveError(save, errors::kCollectionRequestChangeError);
  save.placeholder = placeholder;
  // Other albums, and an album that takes no change, do without the asset.
  if (save.album == nullptr ||
      save.album->assetCollectionSubtype != PHAssetCollectionSubtype::albumRegular) {
    return;
  }
  requests.addAssets(*save.album, std::array{*placeholder});
}

void ImageManager::replySaved(const MediaSave& save) {
  if (!save.placeholder) fatalError("a change succeeded without the asset that it was to create");
  const std::array identifiers{save.placeholder->localIdentifier};
  const Asset asset =
      platform.sharedPhotoLibrary.fetchAssetsWithLocalIdentifiers(identifiers, nullptr)
          ->firstObject();
  if (asset == nullptr) return sendSaveError(save, errors::kSavedAssetNotFound);
  auto keepAndReply = [self = shared_from_this(), result = save.result, asset,
                       identifier = identifiers[0]] {
    {
      const NSLockHolder held(self->lock);
      self->assetMap.insert_or_assign(identifier, asset);
    }
    self->sendResult(result, assetToMap(*asset));
  };
  if (save.isVideo) return keepAndReply();
  platform.dispatch.mainQueue().async(std::move(keepAndReply));
}

void ImageManager::sendSaveError(const MediaSave& save, Literal details) {
  sendError(save.result, errors::kCode, save.message(), details);
}

}  // namespace quorvin
