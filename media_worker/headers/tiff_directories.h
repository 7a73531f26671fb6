// The directories of tags that TIFF files, raw photos and blocks of Exif are made of.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Whether there are more directories or tags than anybody writes, or values that come to more
/// bytes than there are: tags may name the same bytes again and again, and readers keep a copy for
/// each. `block` begins with its TIFF header; what has none has nothing too many.
bool hasTooManyTags(const InputFile& file);
bool hasTooManyTags(std::span<const std::uint8_t> block);

}  // namespace quorvin
