#include "core/export/jpeg.h"

namespace quorvin {
namespace {

constexpr double kBestQuality = 1.0;

}  // namespace

std::optional<ByteBuffer> jpegOf(ImageCodec& codec, const UIImage* image) {
  if (image == nullptr) return std::nullopt;
  return codec.UIImageJPEGRepresentation(*image, kBestQuality);
}

std::optional<ByteBuffer> jpegOfData(ImageCodec& codec, const ByteBuffer& data) {
  return jpegOf(codec, codec.imageWithData(data).get());
}

}  // namespace quorvin
