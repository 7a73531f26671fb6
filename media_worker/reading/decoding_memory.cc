#include "media_worker/reading/decoding_memory.h"

#include <limits>

namespace quorvin {

namespace {

constexpr std::int64_t kEverything = std::numeric_limits<std::int64_t>::max();

thread_local std::int64_t allowed = kEverything;

std::int64_t pixelsOf(VipsImage* header) {
  return std::int64_t{header->Xsize} * header->Ysize;
}

/// A JPEG in passes, or a PNG.
bool isInterlaced(VipsImage* header) {
  return integerField(header, "interlaced", 0) != 0;
}

}  // namespace

MemoryAllowance::MemoryAllowance(std::int64_t bytes) {
  allowed = bytes;
}

MemoryAllowance::~MemoryAllowance() {
  allowed = kEverything;
}

std::int64_t allowedMemory() {
  return allowed;
}

void requireMemory(std::int64_t bytes) {
  if (bytes > allowed) throw MoreMemoryNeeded{bytes};
}

std::int64_t memoryOfWhole(VipsImage* header, PictureFormat format) {
  constexpr std::int64_t kGif = 6;
  constexpr std::int64_t kWebp = 8;
  constexpr std::int64_t kCoefficients = 6;
  switch (format) {
    case PictureFormat::gif:
      return pixelsOf(header) * kGif;
    case PictureFormat::webp:
      return pixelsOf(header) * kWebp;
    case PictureFormat::jpeg:
      return isInterlaced(header) ? pixelsOf(header) * kCoefficients : 0;
    case PictureFormat::png:
      return isInterlaced(header)
                 ? pixelsOf(header) * static_cast<std::int64_t>(VIPS_IMAGE_SIZEOF_PEL(header))
                 : 0;
    default:
      return 0;
  }
}

std::int64_t memoryOfJpeg(VipsImage* header, int shrink) {
  return pixelsOf(header) * header->Bands / (shrink * shrink);
}

std::int64_t memoryOfHeif(std::int64_t pixels, int bits, bool isAvif, bool hasAlpha) {
  constexpr std::int64_t kOurs = 6;  // planes, and what is put together of them
  constexpr std::int64_t kOfLibheif = 8;
  constexpr std::int64_t kDeep = 14;
  const bool isOurs = bits == 8 && !isAvif && !hasAlpha;
  return pixels * (bits > 8 ? kDeep : isOurs ? kOurs : kOfLibheif);
}

std::int64_t memoryOfCodedPicture(std::int64_t pixels, std::int64_t fileSize) {
  constexpr std::int64_t kWithCoefficients = 12;
  return pixels * kWithCoefficients + fileSize;
}

std::int64_t memoryOfFirstFrame(std::int64_t pixels) {
  constexpr std::int64_t kWithReferences = 20;
  return pixels * kWithReferences;
}

}  // namespace quorvin
