// Colour conversion.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "media_worker/reading/named_colours.h"
#include "media_worker/reading/vips_image.h"

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

/// The profile of the image's colours, for as long as the image lives; empty unless it is one that
/// its pixels can be left in: 8-bit RGB, or RGBA, of a common range of light.
std::span<const std::uint8_t> profileToKeep(VipsImage* image);

/// What code points say of the profile's colours, when they are of a high range of light; else
/// unspecified.
ColourCodes highRangeCodes(std::span<const std::uint8_t> profile);

/// Turns the image into 8 bits a channel: 3 channels, or 4 where it has alpha, not premultiplied;
/// in sRGB once `rest` is done. A profile that is attached counts, or else the colours that are
/// named, of which those without a wide gamut pass for sRGB; a profile that is unusable is passed
/// over. False when it fails.
bool makeSrgb(ImagePtr& image, ColourTransformPtr& rest);

}  // namespace quorvin
