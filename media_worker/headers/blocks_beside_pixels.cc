#include "media_worker/headers/blocks_beside_pixels.h"

#include <array>
#include <string_view>

#include "media_worker/headers/tiff_directories.h"

namespace quorvin {

namespace {

/// Of 64 KiB each, these are ten times a panorama's with its depths and its packets of metadata.
constexpr int kMostSegments = 10'000;
constexpr int kMostChunks = 100'000;
/// Bytes of a file that readers keep whole, as they do with all frames of an animation.
constexpr std::int64_t kLargestKept = 512 << 20;
constexpr std::size_t kChunkHead = 8;
constexpr std::size_t kLongestName = 79;       ///< of a text
constexpr std::int64_t kMostPacked = 2 << 20;  ///< bytes, which are 2 GiB at most

/// Up to the first pixels, in front of which a JPEG has nearly all.
bool hasManySegments(const InputFile& file) {
  constexpr std::uint8_t kStartOfScan = 0xDA;
  std::int64_t position = 2;
  for (int count = 0; count < kMostSegments; ++count) {
    std::array<std::uint8_t, 4> head{};
    if (file.readAt(position, head) < head.size()) return false;
    if (head[0] != 0xFF || head[1] == kStartOfScan) return false;
    // A marker may be filled up in front.
    position += head[1] == 0xFF ? 1 : 2 + (head[2] << 8 | head[3]);
  }
  return true;
}

/// `begin` is that of the chunk's content.
bool isPacked(std::string_view type, std::string_view begin) {
  if (type == "zTXt" || type == "iCCP") return true;
  // What comes behind the name tells.
  const std::size_t name = begin.find('\0');
  return type == "iTXt" && name + 1 < begin.size() && begin[name + 1] != 0;
}

bool hasLongTexts(const InputFile& file) {
  std::int64_t packed = 0;
  constexpr std::int64_t kSignature = 8;
  constexpr std::int64_t kBesideContent = 12;  // length, type and checksum
  std::int64_t position = kSignature;
  for (int count = 0; count < kMostChunks; ++count) {
    std::array<std::uint8_t, kChunkHead + kLongestName + 2> head{};
    if (file.readAt(position, head) < kChunkHead) return false;
    const std::int64_t length =
        std::int64_t{head[0]} << 24 | head[1] << 16 | head[2] << 8 | head[3];
    const std::string_view text(reinterpret_cast<const char*>(head.data()), head.size());
    if (isPacked(text.substr(4, 4), text.substr(kChunkHead))) packed += length;
    if (packed > kMostPacked) return true;
    position += kBesideContent + length;
  }
  return false;
}

}  // namespace

bool hasTooMuchBesidePixels(const InputFile& file, PictureFormat format) {
  switch (format) {
    case PictureFormat::jpeg:
      return hasManySegments(file);
    case PictureFormat::png:
      return hasLongTexts(file);
    case PictureFormat::gif:
    case PictureFormat::webp:
      return file.size() > kLargestKept;
    case PictureFormat::tiff:
    case PictureFormat::raw:
      return hasTooManyTags(file);
    default:
      return false;
  }
}

}  // namespace quorvin
