// getImageData: the bytes of an image as they are stored, or as a JPEG made of HEIC.
#include <optional>

#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"

namespace quorvin {
namespace {

/// The one type that is converted; HEIF, and other spellings, are not.
constexpr std::string_view kHeic = "public.heic";

constexpr double kBestQuality = 1.0;

struct ImageDataArguments {
  std::string assetId;
  bool convertJpeg = false;
};

std::optional<ImageDataArguments> readArguments(const FlutterMethodCall& call) {
  const Arguments read(call.arguments);
  ImageDataArguments a;
  if (!(read.string("assetId", a.assetId) && read.boolean("convertJpeg", a.convertJpeg))) {
    return std::nullopt;
  }
  return a;
}

PHImageRequestOptions imageDataOptions() {
  PHImageRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat;
  options.resizeMode = PHImageRequestOptionsResizeMode::exact;
  options.isSynchronous = false;
  options.isNetworkAccessAllowed = true;
  return options;
}

}  // namespace

void ImageManager::getImageData(const FlutterMethodCall& call, const ResultHolder& result) {
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
  imageManager->requestImageDataAndOrientationForAsset(
      asset, imageDataOptions(),
      [self = shared_from_this(), result, convertJpeg = arguments->convertJpeg](
          std::optional<ByteBuffer> data, const std::optional<std::string>& typeIdentifier,
          std::int64_t, const PHImageInfo*) {
        self->replyImageData(result, convertJpeg, std::move(data), typeIdentifier);
      });
}

// What the request says of itself is not asked: without data it has failed, whatever the reason.
void ImageManager::replyImageData(const ResultHolder& result, bool convertJpeg,
                                  std::optional<ByteBuffer> data,
                                  const std::optional<std::string>& typeIdentifier) {
  if (!data) {
    return sendError(result, errors::kCode, errors::kFailedToLoadImageData);
  }
  if (convertJpeg && typeIdentifier == kHeic) {
    data = jpegFromData(*data);
    if (!data) return sendError(result, errors::kCode, errors::kConversionFailed);
  }
  sendResult(result, *std::move(data));
}

std::optional<ByteBuffer> ImageManager::jpegFromData(const ByteBuffer& data) {
  const auto image = platform.imageCodec.imageWithData(data);
  if (image == nullptr) return std::nullopt;
  return platform.imageCodec.UIImageJPEGRepresentation(*image, kBestQuality);
}

}  // namespace quorvin
