// Picture files put together by hand: of a few bytes and of any size that a header can name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "testing/media/media_bytes.h"

namespace quorvin {

/// So many bytes of 0, as zlib packs them; a thousandth of them, and quickly made.
Bytes packedZeros(std::size_t count);

Bytes pngChunk(std::string_view type, const Bytes& content);
/// The signature and the header of a picture, 8 bits a channel; `colours` 0: grey, 2: RGB.
Bytes pngBeginning(std::uint32_t width, std::uint32_t height, int colours = 0,
                   bool interlaced = false);
/// A picture of one colour.
Bytes blackPng(std::uint32_t width, std::uint32_t height, int colours = 0);
/// A grey picture of one colour, in passes.
Bytes interlacedPng(std::uint32_t width, std::uint32_t height);
/// A picture with chunks between its header and its pixels.
Bytes pngWith(const Bytes& chunks);
/// Makes the checksums of all chunks right, as far as there are any.
void repairPng(Bytes& file);

/// Frames of one colour; each has the whole size of its own, whatever the screen's is.
struct GifShape {
  int screenWidth = 1;
  int screenHeight = 1;
  int width = 1;
  int height = 1;
  std::size_t frames = 1;
};
Bytes blackGif(const GifShape& shape);

/// WebP without losses, of one colour: a few bytes whatever its size, which is at most 16384.
Bytes blackWebp(std::uint32_t width, std::uint32_t height);
/// Frames of that size on a canvas.
Bytes animatedWebp(std::uint32_t canvas, std::uint32_t side, std::size_t frames);

struct TiffField {
  int tag = 0;
  int type = 4;  ///< 3: short, 4: long, 7: bytes
  std::uint32_t count = 1;
  std::uint32_t value = 0;
};
/// The header, one directory at offset 8, and `data` behind it; the next directory is at `next`.
Bytes tiff(const std::vector<TiffField>& fields, const Bytes& data = {}, std::uint32_t next = 0);
/// A grey picture in one packed strip.
Bytes blackTiff(std::uint32_t width, std::uint32_t height);

/// A JPEG segment with its marker and length.
Bytes jpegSegment(int marker, const Bytes& content);
/// The picture with segments right behind its beginning.
Bytes jpegWith(const Bytes& picture, const Bytes& segments);
/// The picture, whose header says that it is of this size.
Bytes jpegSaying(Bytes picture, std::uint32_t width, std::uint32_t height);

}  // namespace quorvin
