#include "testing/media/probes.h"
#include "tests/hostile/hostile_files.h"
#include "tests/hostile/hostile_movies.h"
#include "tests/hostile/hostile_pictures.h"

namespace quorvin {

namespace {

/// Of more pixels than are decoded.
constexpr std::uint32_t kTooLarge = 65'000;
constexpr std::size_t kManyFrames = 10'000;
constexpr std::size_t kGibibyte = std::size_t{1} << 30;

/// A HEIF file with other sizes of its pictures.
Bytes heifSaying(Bytes file, std::uint32_t width, std::uint32_t height) {
  const Bytes size = ByteWriter().big(width, 4).big(height, 4).bytes();
  const Bytes name = bytesOf("ispe");
  for (auto at = file.begin();;) {
    at = std::search(at, file.end(), name.begin(), name.end());
    if (file.end() - at < 16) return file;
    std::copy(size.begin(), size.end(), at + 8);
    at += 4;
  }
}

/// Text that a PNG packs.
Bytes packedText(std::string_view type, std::string_view name, std::size_t size) {
  ByteWriter text;
  text.text(name).zeros(1);
  if (type == "iTXt") text.big(1, 1).zeros(3);
  if (type != "iTXt") text.zeros(1);
  return pngChunk(type, text.append(packedZeros(size)).bytes());
}

}  // namespace

std::vector<HostileFile> bombs(std::uint32_t side) {
  const int signedSide = static_cast<int>(side);
  const int tiles = signedSide / 125;
  const std::uint32_t many = side * 3;
  const Bytes jpeg = savedPicture(".jpg");
  const Bytes progressive = savedPicture(".jpg[interlace]");
  const Bytes largePng = blackPng(side, side);
  const Bytes heic = smallHeic();
  const Bytes avif = smallHeic({.avif = true});
  const Bytes pngSample = blackPng(16, 16, 2);
  return {
      {"large_grey.png", largePng},
      {"large_colours.png", blackPng(side, side, 2)},
      {"large_passes.png", interlacedPng(side, side)},
      {"too_large.png", blackPng(kTooLarge, kTooLarge)},
      {"wide.png", blackPng(900'000'000, 1, 2)},
      {"high.png", blackPng(1, 900'000'000)},
      {"packed_profile.png",
       pngWith(pngChunk("iCCP", concatenated({{'p', 0, 0}, packedZeros(kGibibyte)})))},
      {"packed_text.png", pngWith(packedText("zTXt", "Raw profile type exif", kGibibyte))},
      {"packed_packet.png", pngWith(packedText("iTXt", "XML:com.adobe.xmp", kGibibyte))},
      {"hundred_packed_texts.png",
       pngWith(ByteWriter().repeat(packedText("zTXt", "Comment", 50'000'000), 100).bytes())},
      {"large.gif", blackGif({signedSide, signedSide, signedSide, signedSide})},
      {"too_large.gif", blackGif({65'535, 65'535, 1, 1})},
      {"many_frames.gif", blackGif({1, 1, 1, 1, kManyFrames})},
      {"many_frames_of_many_pixels.gif", blackGif({3'000, 3'000, 3'000, 3'000, 300})},
      {"many_frames_on_a_large_screen.gif", blackGif({65'535, 65'535, 1, 1, kManyFrames})},
      {"large.webp", blackWebp(16'384, 16'384)},
      {"many_frames.webp", animatedWebp(1, 1, kManyFrames)},
      {"many_frames_of_many_pixels.webp", animatedWebp(4'096, 4'096, 1'000)},
      {"many_frames_on_a_large_canvas.webp", animatedWebp(65'535, 1, 1'000)},
      {"large.tif", blackTiff(side, side)},
      {"too_large.tif", blackTiff(kTooLarge, kTooLarge)},
      {"wide.tif", blackTiff(900'000'000, 1)},
      {"large.jpg", jpegSaying(jpeg, side, side)},
      {"too_large.jpg", jpegSaying(jpeg, 65'500, 65'500)},
      {"large_passes.jpg", jpegSaying(progressive, side, side)},
      {"large.heic", heifSaying(heic, side, side)},
      {"too_large.heic", heifSaying(heic, 0x7fffffff, 0x7fffffff)},
      {"no_size.heic", heifSaying(heic, 0, 0)},
      {"repeated_tile.heic", repeatedTileHeic(gradient(64, 64), tiles, tiles)},
      {"a_thousand_tiles.heic", repeatedTileHeic(gradient(64, 64), 40, 25)},
      {"large.avif", heifSaying(avif, side, side)},
      {"too_large.avif", heifSaying(avif, 0x7fffffff, 0x7fffffff)},
      {"large_frame.mov", movieOf({.width = signedSide, .height = signedSide, .sample = largePng})},
      {"other_frame.mov", movieOf({.sample = largePng})},
      {"large_header.mov", movieOf({.width = 65'535, .height = 65'535, .sample = pngSample})},
      {"raw_frame.mov",
       movieOf(
           {.codec = "raw ", .width = signedSide, .height = signedSide, .sample = Bytes(1'000)})},
      {"jpeg_frame.mov", movieOf({.codec = "jpeg", .sample = jpegSaying(jpeg, side, side)})},
      {"repeated_frame.mov", movieOf({.sample = pngSample, .samples = many, .places = many})},
      {"repeated_large_frame.mov",
       movieOf({.sample = blackPng(4'000, 4'000), .samples = side / 30, .places = side / 30})},
      {"frame_of_years.mov", movieOf({.sample = pngSample, .rate = 1, .duration = 1ULL << 62})},
      {"million_frames_a_second.mov",
       movieOf({.sample = pngSample, .samples = 1'000, .places = 1'000, .rate = 1'000'000})},
      {"frame_a_day.mov",
       movieOf({.sample = pngSample, .samples = 1'000, .places = 1'000, .rate = 1})},
  };
}

}  // namespace quorvin
