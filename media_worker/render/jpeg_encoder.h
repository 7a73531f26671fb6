// Encoding pixels as JPEG.
#pragma once

#include <cstdint>
#include <span>

#include "core/platform/foundation.h"
#include "media_protocol/wire.h"

namespace quorvin {

/// Writes a baseline JPEG of the pixels, composited on white where they have alpha, with the ICC
/// profile unless that is empty and no other metadata, to the descriptor. `quality` is 1 to 100;
/// from 90 on colour has full resolution. False when it fails, as for sides that JPEG cannot have.
bool encodeJpeg(std::span<const std::uint8_t> pixels, const PixelLayout& layout, int quality,
                std::span<const std::uint8_t> profile, int descriptor);

}  // namespace quorvin
