// getImageData: the bytes of an image as they are stored, or as a JPEG made of HEIC.
#include <optional>
#include <utility>

#include "core/export/image_requests.h"
#include "core/export/jpeg.h"
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"

namespace quorvin {
namespace {

/// The one type that is converted; HEIF, and other spellings, are not.
constexpr std::string_view kHeic = "public.heic";

struct ImageDataArguments {
  std::string assetId;
  bool convertJpeg = false;

  bool read(const Arguments& from) {
    return from.string("assetId", assetId) && from.boolean("convertJpeg", convertJpeg);
  }
};

}  // namespace

void ImageManager::getImageData(const FlutterMethodCall& call, const ResultHolder& result) {
  ImageDataArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kErrorArguments);
  const Asset asset = findAsset(arguments.assetId, result);
  if (asset == nullptr || imageManager == nullptr) return;
  imageManager->requestImageDataAndOrientationForAsset(
      asset, finalImageOptions(PHImageRequestOptionsResizeMode::exact),
      [self = shared_from_this(), result, convertJpeg = arguments.convertJpeg](
          std::optional<ByteBuffer> data, const std::optional<std::string>& typeIdentifier,
          std::int64_t, const PHImageInfo*) {
        // What the request says of itself is not asked: without data it has failed.
        if (!data) return self->fail(result, errors::kFailedToLoadImageData);
        if (convertJpeg && typeIdentifier == kHeic) {
          data = jpegOfData(self->platform.imageCodec, *data);
          if (!data) return self->fail(result, errors::kConversionFailed);
        }
        self->sendResult(result, *std::move(data));
      });
}

}  // namespace quorvin
