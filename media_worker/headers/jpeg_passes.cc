#include "media_worker/headers/jpeg_passes.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <vector>

namespace quorvin {

namespace {

/// Of a camera's picture of 100 megapixels in ten passes this is twice the number.
constexpr std::int64_t kMostPixelVisits = 2'000'000'000;
constexpr std::int64_t kMostPasses = 200;

constexpr std::uint8_t kStartOfFrame = 0xC0;  ///< of a picture in one pass; others follow
constexpr std::uint8_t kLastStartOfFrame = 0xCF;
constexpr std::uint8_t kHuffmanTables = 0xC4;
constexpr std::uint8_t kExtension = 0xC8;
constexpr std::uint8_t kArithmeticTables = 0xCC;
constexpr std::uint8_t kFirstAlone = 0xD0;  ///< markers without a segment, up to the end's
constexpr std::uint8_t kEnd = 0xD9;
constexpr std::uint8_t kStartOfScan = 0xDA;

/// The marker at or behind `at`, with what stands between passed over; `at` is left behind it. 0 at
/// the end.
std::uint8_t nextMarker(std::span<const std::uint8_t> file, std::size_t& at) {
  while (at < file.size()) {
    const void* found = std::memchr(file.data() + at, 0xFF, file.size() - at);
    if (found == nullptr) break;
    at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - file.data()) + 1;
    // A zero says that it was no marker.
    if (at < file.size() && file[at] != 0 && file[at] != 0xFF) return file[at++];
  }
  at = file.size();
  return 0;
}

bool isFrame(std::uint8_t marker) {
  return marker >= kStartOfFrame && marker <= kLastStartOfFrame && marker != kHuffmanTables &&
         marker != kExtension && marker != kArithmeticTables;
}

struct Passes {
  std::int64_t count = 0;
  bool isComplete = false;  ///< a decoder looks at nothing that follows
};

/// Counts up to `most`.
Passes passesOf(std::span<const std::uint8_t> file, std::int64_t most) {
  constexpr std::size_t kComponentsOfFrame = 7;
  constexpr std::size_t kComponentsOfScan = 2;
  Passes passes;
  int components = 0;
  for (std::size_t at = 0; passes.count < most;) {
    const std::uint8_t marker = nextMarker(file, at);
    if (marker == 0) break;
    if (marker >= kFirstAlone && marker <= kEnd) continue;
    if (file.size() - at <= kComponentsOfFrame) break;
    const auto segment = file.subspan(at);
    if (isFrame(marker)) {
      components = marker < kStartOfFrame + 2 ? segment[kComponentsOfFrame] : -1;
    }
    if (marker == kStartOfScan) {
      ++passes.count;
      passes.isComplete = segment[kComponentsOfScan] == components;
      if (passes.isComplete) break;
    }
    at += std::size_t{segment[0]} << 8 | segment[1];
  }
  return passes;
}

}  // namespace

bool hasTooManyJpegPasses(const InputFile& file, std::int64_t width, std::int64_t height) {
  const std::int64_t most =
      std::min(kMostPasses, kMostPixelVisits / std::max<std::int64_t>(width * height, 1)) + 1;
  // Most files tell it before their pixels begin.
  constexpr std::size_t kHead = 256 << 10;
  constexpr std::size_t kLargestFile = 512 << 20;
  if (passesOf(file.head(kHead), most).isComplete) return false;
  return passesOf(file.head(kLargestFile), most).count >= most;
}

}  // namespace quorvin
