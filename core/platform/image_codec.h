// Decoded images, and encoding them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "core/platform/value.h"

namespace quorvin {

/// A decoded image: upright, 8 bits a channel. Immutable, any thread. Each platform has its own.
class UIImage {
 public:
  virtual ~UIImage() = default;
  virtual std::int64_t width() const = 0;   ///< pixels
  virtual std::int64_t height() const = 0;  ///< pixels
};

/// Any thread, several at once.
class ImageCodec {
 public:
  virtual ~ImageCodec() = default;
  /// Decodes any stored image format; an animation gives its first frame. Null when it fails.
  virtual std::shared_ptr<const UIImage> imageWithData(const ByteBuffer& data) = 0;
  /// `compressionQuality` lies in 0 (smallest) to 1 (best). None when it fails.
  virtual std::optional<ByteBuffer> UIImageJPEGRepresentation(const UIImage& image,
                                                              double compressionQuality) = 0;
  /// None when it fails.
  virtual std::optional<ByteBuffer> UIImagePNGRepresentation(const UIImage& image) = 0;
};

}  // namespace quorvin
