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

/// One file on its way into the library.
struct ImageManager::MediaSave {
  std::shared_ptr<ImageManager> manager;
  ResultHolder result;
  bool isVideo = false;
  std::string filePath;
  Album album;                                     ///< null: none
  std::optional<PHObjectPlaceholder> placeholder;  ///< written by the change block

  static void start(std::shared_ptr<ImageManager> manager, const FlutterMethodCall& call,
                    const ResultHolder& result, bool isVideo) {
    const auto save = std::make_shared<MediaSave>();
    save->manager = std::move(manager);
    save->result = result;
    save->isVideo = isVideo;
    if (!save->read(Arguments(call.arguments))) return;
    save->manager->platform.photoLibraryChanges.performChanges(
        [save](PHChangeRequests& requests) { save->request(requests); },
        [save](bool success, const std::optional<NSError>& error) {
          if (!success) return save->fail(errors::detailsOf(error));
          save->manager->readingLibrary(save->result, [&save] { save->reply(); });
        });
  }

  void fail(Value details) const {
    manager->fail(result, isVideo ? errors::kSaveVideoError : errors::kSaveImageError,
                  std::move(details));
  }

  /// False when the call was answered.
  bool read(const Arguments& from) {
    if (!from.string("filePath", filePath)) {
      manager->fail(result, errors::kErrorArguments);
      return false;
    }
    std::string collectionId;
    // An identifier that is no text counts as none.
    if (!from.string("collectionId", collectionId)) return true;
    album = manager->fetchAlbum(collectionId);
    if (album == nullptr) fail(errors::kCollectionNotFound);
    return album != nullptr;
  }

  // A fault is answered here, although the completion follows and may answer once more.
  void request(PHChangeRequests& requests) {
    placeholder = isVideo ? requests.creationRequestForAssetFromVideoAtFileURL(filePath)
                          : requests.creationRequestForAssetFromImageAtFileURL(filePath);
    if (!placeholder) return fail(errors::kCollectionRequestChangeError);
    // Other albums, and an album that takes no change, do without the asset.
    if (album == nullptr ||
        album->assetCollectionSubtype != PHAssetCollectionSubtype::albumRegular) {
      return;
    }
    requests.addAssets(*album, std::array{*placeholder});
  }

  void reply() const {
    if (!placeholder) fatalError("a change succeeded without the asset that it was to create");
    const std::string& identifier = placeholder->localIdentifier;
    const Asset asset = manager->fetchAsset(identifier);
    if (asset == nullptr) return fail(errors::kSavedAssetNotFound);
    auto keepAndReply = [manager = manager, result = result, asset, identifier] {
      {
        const NSLockHolder held(manager->lock);
        manager->assetMap.insert_or_assign(identifier, asset);
      }
      manager->sendResult(result, assetToMap(*asset));
    };
    if (isVideo) return keepAndReply();
    manager->platform.dispatch.mainQueue().async(std::move(keepAndReply));
  }
};

void ImageManager::saveImage(const FlutterMethodCall& call, const ResultHolder& result) {
  MediaSave::start(shared_from_this(), call, result, false);
}

void ImageManager::saveVideo(const FlutterMethodCall& call, const ResultHolder& result) {
  MediaSave::start(shared_from_this(), call, result, true);
}

}  // namespace quorvin
