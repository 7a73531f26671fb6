// Encoding pixels as PNG.
#pragma once

#include <cstdint>
#include <span>

#include "media_protocol/wire.h"

namespace quorvin {

/// Bytes that encoding takes beside the pixels.
std::int64_t memoryOfPng(const PixelLayout& layout);

/// Writes a PNG of the pixels with the ICC profile, unless that is empty, and no other metadata, to
/// the descriptor. False when it fails, as for sides that cannot be.
bool encodePng(std::span<const std::uint8_t> pixels, const PixelLayout& layout,
               std::span<const std::uint8_t> profile, int descriptor);

}  // namespace quorvin
