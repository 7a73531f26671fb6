// Decoding JPEG into memory.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "media_worker/reading/input_file.h"
#include "media_worker/reading/vips_image.h"

namespace quorvin {

/// The picture of a grey or colour JPEG, `shrink` (1, 2, 4 or 8) times smaller in each direction,
/// with 1 or 3 channels, in its own colour space and as stored. From a damaged file comes what
/// there is, unless `failOnDamage`. Null when it fails and for other kinds of JPEG.
ImagePtr decodeJpeg(const InputFile& file, int shrink, bool failOnDamage);
ImagePtr decodeJpeg(std::span<const std::uint8_t> file, int shrink, bool failOnDamage);

/// Samples of one component.
struct JpegPlane {
  std::vector<std::uint8_t> samples;
  int width = 0;
  int height = 0;
  int stride = 0;
};
/// Of a JPEG in light and two colour differences: its components as they are coded, `shrink` times
/// smaller, of which the colour differences may have fewer samples. None when it fails and for
/// other kinds of JPEG; damage is treated as above.
std::optional<std::array<JpegPlane, 3>> decodeJpegPlanes(const InputFile& file, int shrink,
                                                         bool failOnDamage);

/// Whether the first rows of a JPEG in passes decode, so far as its first pass has them. What
/// follows is not looked at.
bool firstRowsOfPassesDecode(const InputFile& file);

}  // namespace quorvin
