// Colour conversion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "media_worker/vips_image.h"

namespace quorvin {

/// A conversion of finished pixels from their own colour space to sRGB.
class ColourTransform {
 public:
  /// Converts `count` pixels of 3 or 4 bytes in place; alpha stays.
  virtual void convert(std::uint8_t* pixels, std::size_t count) const = 0;
  virtual ~ColourTransform() = default;
};

/// What `makeSrgb` leaves to do when the pixels are in memory; null when that is nothing.
using ColourTransformPtr = std::unique_ptr<const ColourTransform>;

/// Turns the image into 8 bits a channel: 3 channels, or 4 where it has alpha, not premultiplied;
/// in sRGB once `rest` is done. A profile that is attached counts, and one that is unusable is
/// passed over. False when it fails.
bool makeSrgb(ImagePtr& image, ColourTransformPtr& rest);

}  // namespace quorvin
