#include "platform_linux/images/linux_image_codec.h"

#include <algorithm>
#include <utility>

#include "media_protocol/sealed_memory.h"
#include "posix/write_all.h"

namespace quorvin {

namespace {

std::optional<ByteBuffer> encode(MediaService& media, const UIImage& image, ImageFormat format,
                                 double quality) {
  const auto* rendered = dynamic_cast<const RenderedImage*>(&image);
  if (rendered == nullptr) return std::nullopt;
  Result<ByteBuffer> encoded = media.encode(*rendered, format, quality);
  if (!encoded) return std::nullopt;
  return *std::move(encoded);
}

}  // namespace

std::shared_ptr<const UIImage> LinuxImageCodec::imageWithData(const ByteBuffer& data) {
  const FileDescriptor file = makeMemoryFile(0);
  if (!file || writeAll(file.get(), data.bytes()) != 0 || !sealMemoryFile(file)) return nullptr;
  RenderRequest request;
  request.kind = MediaKind::image;
  request.fit = RenderRequest::Fit::original;
  request.failOnDamage = true;
  request.keepProfile = true;
  const auto image = media_.render(file, request);
  return image ? *image : nullptr;
}

std::optional<ByteBuffer> LinuxImageCodec::UIImageJPEGRepresentation(const UIImage& image,
                                                                     double compressionQuality) {
  // The order of the arguments makes 0 of what is no number.
  const double quality = std::min(std::max(0.0, compressionQuality), 1.0);
  return encode(media_, image, ImageFormat::jpeg, quality);
}

std::optional<ByteBuffer> LinuxImageCodec::UIImagePNGRepresentation(const UIImage& image) {
  return encode(media_, image, ImageFormat::png, 1);
}

}  // namespace quorvin
