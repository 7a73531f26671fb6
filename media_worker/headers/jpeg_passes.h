// How often a decoder goes over a JPEG.
#pragma once

#include <cstdint>

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Whether a picture of that size would keep a decoder busy for long: each pass of a progressive
/// file touches every pixel, and a small file can have thousands. Looks at markers alone.
bool hasTooManyJpegPasses(const InputFile& file, std::int64_t width, std::int64_t height);

}  // namespace quorvin
