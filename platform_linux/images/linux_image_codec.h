// Decoding and encoding images with the media workers.
#pragma once

#include <memory>
#include <optional>

#include "core/platform/image_codec.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

/// Any thread, several at once. Images of other platforms encode to none.
class LinuxImageCodec final : public ImageCodec {
 public:
  /// The service outlives the codec.
  explicit LinuxImageCodec(MediaService& media) : media_(media) {}

  /// At the stored size; data that is damaged anywhere does not decode.
  std::shared_ptr<const UIImage> imageWithData(const ByteBuffer& data) override;
  std::optional<ByteBuffer> UIImageJPEGRepresentation(const UIImage& image,
                                                      double compressionQuality) override;
  std::optional<ByteBuffer> UIImagePNGRepresentation(const UIImage& image) override;

 private:
  MediaService& media_;
};

}  // namespace quorvin
