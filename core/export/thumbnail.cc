// getThumbnail: an asset rendered at a size, as encoded bytes.
#include <optional>
#include <utility>

#include "core/export/image_requests.h"
#include "core/export/jpeg.h"
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"

namespace quorvin {
namespace {

struct ThumbnailArguments {
  std::string assetId;
  CGSize size;
  PHImageContentMode contentMode = PHImageContentModeAspectFit;
  bool jpegFormat = false;

  bool read(const Arguments& from) {
    return from.string("assetId", assetId) && from.number("width", size.width) &&
           from.number("height", size.height) && from.integer("contentMode", contentMode) &&
           from.boolean("jpegFormat", jpegFormat);
  }
};

/// Null when there is nothing to show.
Value encoded(ImageCodec& codec, const UIImage* image, bool jpegFormat) {
  if (image == nullptr) return {};
  auto bytes = jpegFormat ? jpegOf(codec, image) : codec.UIImagePNGRepresentation(*image);
  return bytes ? Value(*std::move(bytes)) : Value();
}

}  // namespace

/// A rendering that is awaited.
class ImageManager::ThumbnailRequest {
 public:
  ThumbnailRequest(std::shared_ptr<ImageManager> manager, ResultHolder result, bool jpegFormat)
      : manager_(std::move(manager)), result_(std::move(result)), jpegFormat_(jpegFormat) {}

  /// Answers one delivery unless the call was answered before, or the delivery is provisional.
  void deliver(const UIImage* image, const PHImageInfo* info) {
    if (replied_) return;
    const bool cancelled = info != nullptr && info->isTrue(PHImageCancelledKey);
    const NSError* error = info == nullptr ? nullptr : info->error(PHImageErrorKey);
    const bool degraded = info != nullptr && info->isTrue(PHImageResultIsDegradedKey);
    if (degraded && !cancelled && error == nullptr) return;
    replied_ = true;
    if (cancelled) return manager_->sendResult(result_, {});
    if (error != nullptr) {
      return manager_->fail(result_, errors::kFailedToLoadThumbnail, error->localizedDescription);
    }
    manager_->sendResult(result_, encoded(manager_->platform.imageCodec, image, jpegFormat_));
  }

 private:
  const std::shared_ptr<ImageManager> manager_;
  const ResultHolder result_;
  const bool jpegFormat_;
  bool replied_ = false;
};

void ImageManager::getThumbnail(const FlutterMethodCall& call, const ResultHolder& result) {
  ThumbnailArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kErrorArguments);
  const Asset asset = findAsset(arguments.assetId, result);
  if (asset == nullptr || imageManager == nullptr) return;
  const auto request =
      std::make_shared<ThumbnailRequest>(shared_from_this(), result, arguments.jpegFormat);
  imageManager->requestImageForAsset(
      asset, arguments.size, arguments.contentMode,
      finalImageOptions(PHImageRequestOptionsResizeMode::fast),
      [request](const std::shared_ptr<const UIImage>& image, const PHImageInfo* info) {
        request->deliver(image.get(), info);
      });
}

}  // namespace quorvin
