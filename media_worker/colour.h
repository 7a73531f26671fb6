// Colour conversion.
#pragma once

#include "media_worker/vips_image.h"

namespace quorvin {

/// Converts to 8-bit sRGB: 3 channels, or 4 where the image has alpha, not premultiplied. A
/// profile that is attached counts, and one that is unusable is passed over. False when it fails.
bool convertToSrgb(ImagePtr& image);

}  // namespace quorvin
