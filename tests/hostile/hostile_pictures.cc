#include "tests/hostile/hostile_pictures.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <bit>

#include "tests/hostile/byte_writer.h"

namespace quorvin {

namespace {

constexpr std::size_t kPngSignature = 8;
constexpr std::size_t kPngChunkBeside = 12;  // length, type and checksum

/// Packed without a header; what is not the last part can stand any number of times.
Bytes packedPart(std::size_t count, bool isLast) {
  z_stream packing = {};
  EXPECT_EQ(deflateInit2(&packing, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY), Z_OK);
  Bytes zeros(count);
  Bytes packed(count / 100 + 64);
  packing.next_in = zeros.data();
  packing.avail_in = static_cast<uInt>(zeros.size());
  packing.next_out = packed.data();
  packing.avail_out = static_cast<uInt>(packed.size());
  EXPECT_EQ(deflate(&packing, isLast ? Z_FINISH : Z_FULL_FLUSH), isLast ? Z_STREAM_END : Z_OK);
  packed.resize(packing.total_out);
  deflateEnd(&packing);
  return packed;
}

/// Bytes of a GIF in blocks of at most 255.
void appendBlocks(ByteWriter& file, const Bytes& data) {
  for (std::size_t at = 0; at < data.size(); at += 255) {
    const std::size_t size = std::min<std::size_t>(255, data.size() - at);
    const auto first = data.begin() + static_cast<std::ptrdiff_t>(at);
    file.big(size, 1).append(Bytes(first, first + static_cast<std::ptrdiff_t>(size)));
  }
  file.big(0, 1);
}

/// Pixels of 0 in as few codes of a GIF as can be: each says one pixel more than the one before.
Bytes gifZeros(std::size_t pixels) {
  constexpr std::uint32_t kClear = 4;
  constexpr std::uint32_t kEnd = 5;
  constexpr std::uint32_t kCodes = 4096;
  BitWriter codes;
  int width = 3;
  while (pixels > 0) {
    codes.bits(kClear, width);
    width = 3;
    codes.bits(0, width);
    --pixels;
    std::uint32_t code = kEnd + 1;
    for (; code < kCodes && pixels >= code - kEnd + 1; ++code) {
      width = std::max(3, static_cast<int>(std::bit_width(code)));
      codes.bits(code, width);
      pixels -= code - kEnd + 1;
    }
    width = std::min(12, std::max(3, static_cast<int>(std::bit_width(code))));
  }
  return codes.bits(kEnd, width).bytes();
}

Bytes webpPixels(std::uint32_t width, std::uint32_t height) {
  BitWriter picture;
  // Size, no alpha, version 0; no transforms, no cache of colours, one group of codes.
  picture.bits(0x2f, 8).bits(width - 1, 14).bits(height - 1, 14).bits(0, 4).bits(0, 3);
  // Five codes of one symbol, which takes no bits.
  for (int i = 0; i < 5; ++i) picture.bits(1, 4);
  return ByteWriter().riff("VP8L", picture.bytes()).bytes();
}

Bytes webpOf(const Bytes& chunks) {
  return ByteWriter().riff("RIFF", ByteWriter().text("WEBP").append(chunks).bytes()).bytes();
}

}  // namespace

Bytes packedZeros(std::size_t count) {
  constexpr std::size_t kPart = 1 << 20;
  constexpr std::size_t kModulus = 65521;  // of the checksum
  ByteWriter packed;
  packed.big(0x7801, 2).repeat(packedPart(kPart, false), count / kPart);
  packed.append(packedPart(count % kPart, true));
  return packed.big(count % kModulus, 2).big(1, 2).bytes();
}

Bytes pngChunk(std::string_view type, const Bytes& content) {
  const Bytes named = ByteWriter().text(type).append(content).bytes();
  return ByteWriter()
      .big(content.size(), 4)
      .append(named)
      .big(crc32(0, named.data(), static_cast<uInt>(named.size())), 4)
      .bytes();
}

Bytes pngBeginning(std::uint32_t width, std::uint32_t height, int colours, bool interlaced) {
  ByteWriter header;
  header.big(width, 4).big(height, 4).big(8, 1).big(static_cast<std::uint64_t>(colours), 1);
  return ByteWriter()
      .text("\x89PNG\r\n\x1a\n")
      .append(pngChunk("IHDR", header.zeros(2).big(interlaced ? 1 : 0, 1).bytes()))
      .bytes();
}

Bytes blackPng(std::uint32_t width, std::uint32_t height, int colours) {
  const std::size_t row = 1 + static_cast<std::size_t>(width) * (colours == 2 ? 3 : 1);
  return concatenated({pngBeginning(width, height, colours),
                       pngChunk("IDAT", packedZeros(row * height)), pngChunk("IEND", {})});
}

Bytes interlacedPng(std::uint32_t width, std::uint32_t height) {
  // Each row of a pass begins with a byte of its own; there are fewer than two rows for each.
  const std::size_t size = (static_cast<std::size_t>(width) + 2) * height;
  return concatenated({pngBeginning(width, height, 0, true), pngChunk("IDAT", packedZeros(size)),
                       pngChunk("IEND", {})});
}

Bytes pngWith(const Bytes& chunks) {
  return concatenated(
      {pngBeginning(16, 16), chunks, pngChunk("IDAT", packedZeros(16 * 17)), pngChunk("IEND", {})});
}

void repairPng(Bytes& file) {
  for (std::size_t at = kPngSignature; at + kPngChunkBeside <= file.size();) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < 4; ++i) length = length << 8 | file[at + i];
    if (length > file.size() - at - kPngChunkBeside) return;
    const uLong sum = crc32(0, file.data() + at + 4, static_cast<uInt>(length + 4));
    for (std::size_t i = 0; i < 4; ++i) {
      file[at + 8 + length + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
    }
    at += length + kPngChunkBeside;
  }
}

Bytes blackGif(const GifShape& shape) {
  const auto size = [](ByteWriter& file, int width, int height) -> ByteWriter& {
    return file.little(static_cast<std::uint64_t>(width), 2)
        .little(static_cast<std::uint64_t>(height), 2);
  };
  ByteWriter frame;
  frame.big(0x21f90400, 4).little(1, 2).zeros(2);  // shown for a hundredth of a second
  size(frame.big(0x2c, 1).zeros(4), shape.width, shape.height).zeros(1).big(2, 1);
  appendBlocks(frame, gifZeros(static_cast<std::size_t>(shape.width) *
                               static_cast<std::size_t>(shape.height)));
  ByteWriter file;
  size(file.text("GIF89a"), shape.screenWidth, shape.screenHeight).big(0x810000, 3).zeros(12);
  return file.repeat(frame.bytes(), shape.frames).big(0x3b, 1).bytes();
}

Bytes blackWebp(std::uint32_t width, std::uint32_t height) {
  return webpOf(webpPixels(width, height));
}

Bytes animatedWebp(std::uint32_t canvas, std::uint32_t side, std::size_t frames) {
  ByteWriter frame;
  frame.zeros(6).little(side - 1, 3).little(side - 1, 3).little(10, 3).zeros(1);
  frame.append(webpPixels(side, side));
  const Bytes extended =
      ByteWriter().little(2, 4).little(canvas - 1, 3).little(canvas - 1, 3).bytes();
  return webpOf(ByteWriter()
                    .riff("VP8X", extended)
                    .riff("ANIM", Bytes(6))
                    .repeat(ByteWriter().riff("ANMF", frame.bytes()).bytes(), frames)
                    .bytes());
}

Bytes tiff(const std::vector<TiffField>& fields, const Bytes& data, std::uint32_t next) {
  ByteWriter file;
  file.text("II").little(42, 2).little(8, 4).little(fields.size(), 2);
  for (const TiffField& each : fields) {
    file.little(static_cast<std::uint64_t>(each.tag), 2)
        .little(static_cast<std::uint64_t>(each.type), 2)
        .little(each.count, 4)
        .little(each.value, 4);
  }
  return file.little(next, 4).append(data).bytes();
}

Bytes blackTiff(std::uint32_t width, std::uint32_t height) {
  const Bytes strip = packedZeros(static_cast<std::size_t>(width) * height);
  constexpr std::uint32_t kFields = 9;
  constexpr std::uint32_t kData = 8 + 2 + 12 * kFields + 4;
  return tiff({{256, 4, 1, width},
               {257, 4, 1, height},
               {258, 3, 1, 8},
               {259, 3, 1, 8},
               {262, 3, 1, 1},
               {273, 4, 1, kData},
               {277, 3, 1, 1},
               {278, 4, 1, height},
               {279, 4, 1, static_cast<std::uint32_t>(strip.size())}},
              strip);
}

Bytes jpegSegment(int marker, const Bytes& content) {
  return ByteWriter()
      .big(0xff, 1)
      .big(static_cast<std::uint64_t>(marker), 1)
      .big(content.size() + 2, 2)
      .append(content)
      .bytes();
}

Bytes jpegWith(const Bytes& picture, const Bytes& segments) {
  return concatenated(
      {firstBytes(picture, 2), segments, Bytes(picture.begin() + 2, picture.end())});
}

Bytes jpegSaying(Bytes picture, std::uint32_t width, std::uint32_t height) {
  for (const std::uint8_t marker : {0xc0, 0xc2}) {
    const std::array<std::uint8_t, 4> begin{0xff, marker, 0, 17};
    const auto found = std::search(picture.begin(), picture.end(), begin.begin(), begin.end());
    if (found == picture.end()) continue;
    const Bytes size = ByteWriter().big(height, 2).big(width, 2).bytes();
    std::copy(size.begin(), size.end(), found + 5);
    return picture;
  }
  ADD_FAILURE() << "the picture has no header";
  return picture;
}

}  // namespace quorvin
