#include "platform_linux/images/linux_image_codec.h"

#include <algorithm>
#include <utility>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/images/preview_images.h"

namespace quorvin {

namespace {

std::shared_ptr<const RenderedImage> decode(MediaService& media, const ByteBuffer& data) {
  const FileDescriptor file = sealedMemoryOf(data.bytes());
  if (!file) return nullptr;
  RenderRequest request;
  request.kind = MediaKind::image;
  request.fit = RenderRequest::Fit::original;
  request.failOnDamage = true;
  request.keepProfile = true;
  const auto image = media.render(file, request);
  return image ? *image : nullptr;
}

std::optional<ByteBuffer> encode(MediaService& media, const UIImage& image, ImageFormat format,
                                 double quality) {
  std::shared_ptr<const RenderedImage> decoded;
  if (const auto* preview = dynamic_cast<const PreviewImage*>(&image)) {
    // No encoding brings back what the preview's has lost.
    if (format == ImageFormat::jpeg && quality >= preview->quality()) return preview->jpeg();
    decoded = decode(media, preview->jpeg());
  }
  const auto* rendered = decoded ? decoded.get() : dynamic_cast<const RenderedImage*>(&image);
  if (rendered == nullptr) return std::nullopt;
  Result<ByteBuffer> encoded = media.encode(*rendered, format, quality);
  if (!encoded) return std::nullopt;
  return *std::move(encoded);
}

}  // namespace

std::shared_ptr<const UIImage> LinuxImageCodec::imageWithData(const ByteBuffer& data) {
  return decode(media_, data);
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
