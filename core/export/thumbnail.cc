// getThumbnail: an asset rendered at a size, as encoded bytes.
#include <optional>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"

namespace quorvin {
namespace {

constexpr double kBestQuality = 1.0;

struct ThumbnailArguments {
  std::string assetId;
  CGSize size;
  PHImageContentMode contentMode = PHImageContentModeAspectFit;
  bool jpegFormat = false;
};

std::optional<ThumbnailArguments> readArguments(const FlutterMethodCall& call) {
  const Arguments read(call.arguments);
  ThumbnailArguments a;
  if (!(read.string("assetId", a.assetId) && read.number("width", a.size.width) &&
        read.number("height", a.size.height) && read.integer("contentMode", a.contentMode) &&
        read.boolean("jpegFormat", a.jpegFormat))) {
    return std::nullopt;
  }
  return a;
}

PHImageRequestOptions thumbnailOptions() {
  PHImageRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat;
  options.resizeMode = PHImageRequestOptionsResizeMode::fast;
  options.isSynchronous = false;
  options.isNetworkAccessAllowed = true;
  return options;
}

/// Null when there is nothing to show.
Value encoded(ImageCodec& codec, const UIImage* image, bool jpegFormat) {
  if (image == nullptr) return {};
  auto bytes = jpegFormat ? codec.UIImageJPEGRepresentation(*image, kBestQuality)
                          : codec.UIImagePNGRepresentation(*image);
  return bytes ? Value(*std::move(bytes)) : Value();
}

}  // namespace

void ImageManager::getThumbnail(const FlutterMethodCall& call, const ResultHolder& result) {
  const auto arguments = readArguments(call);
  if (!arguments) {
    return sendError(result, errors::kCode, errors::kErrorArguments);
  }
  const Asset asset = getPHAsset(arguments->assetId);
  if (asset == nullptr) {
    return sendError(result, errors::kCode,
                     errors::withId(errors::kAssetNotFound, arguments->assetId));
  }
  if (imageManager == nullptr) return;
  imageManager->requestImageForAsset(
      asset, arguments->size, arguments->contentMode, thumbnailOptions(),
      [self = shared_from_this(), result, jpegFormat = arguments->jpegFormat,
       replied = std::make_shared<bool>(false)](const std::shared_ptr<const UIImage>& image,
                                                const PHImageInfo* info) {
        self->replyThumbnail(result, jpegFormat, *replied, image.get(), info);
      });
}

void ImageManager::replyThumbnail(const ResultHolder& result, bool jpegFormat, bool& replied,
                                  const UIImage* image, const PHImageInfo* info) {
  if (replied) return;
  const bool cancelled = info != nullptr && info->isTrue(PHImageCancelledKey);
  const NSError* error = info == nullptr ? nullptr : info->error(PHImageErrorKey);
  const bool degraded = info != nullptr && info->isTrue(PHImageResultIsDegradedKey);
  if (degraded && !cancelled && error == nullptr) return;
  replied = true;
  if (cancelled) return sendResult(result, {});
  if (error != nullptr) {
    return sendError(result, errors::kCode, errors::kFailedToLoadThumbnail,
                     error->localizedDescription);
  }
  sendResult(result, encoded(platform.imageCodec, image, jpegFormat));
}

}  // namespace quorvin
