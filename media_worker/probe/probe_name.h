// What the name of a file says about it.
#pragma once

#include <cstdint>
#include <string_view>

#include "media_worker/reading/signature.h"

namespace quorvin {

/// Bits of PHAssetMediaSubtype that the usual names of screenshots tell.
std::uint64_t pictureNameSubtypes(std::string_view name, PictureFormat format);

/// Bits of PHAssetMediaSubtype that the usual names of time-lapses and screen recordings tell.
std::uint64_t videoNameSubtypes(std::string_view name);

}  // namespace quorvin
