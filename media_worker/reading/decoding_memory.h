// How much memory decoding takes, and may take. Bytes.
#pragma once

#include <cstdint>

#include "media_worker/reading/signature.h"
#include "media_worker/reading/vips_image.h"

namespace quorvin {

/// Thrown before anything is decoded that takes more: the request is asked again of a worker that
/// may take so much.
struct MoreMemoryNeeded {
  std::int64_t bytes;
};

/// Allows this thread so much while it lives. Without it everything is allowed.
class MemoryAllowance {
 public:
  explicit MemoryAllowance(std::int64_t bytes);
  ~MemoryAllowance();
  MemoryAllowance(const MemoryAllowance&) = delete;
  MemoryAllowance& operator=(const MemoryAllowance&) = delete;
};

/// What is allowed.
std::int64_t allowedMemory();

/// Says what the header ahead comes to. Throws `MoreMemoryNeeded` when that is not allowed.
void requireMemory(std::int64_t bytes);

// What the header says that it comes to; measured, a little rounded up.

/// Of a picture that libvips reads, before any row of it comes out. Next to nothing where rows come
/// one after another.
std::int64_t memoryOfWhole(VipsImage* header, PictureFormat format);

/// Of a JPEG's pixels beside that, so many times smaller in each direction.
std::int64_t memoryOfJpeg(VipsImage* header, int shrink);

/// Of a picture in HEIF, upright pixels included.
std::int64_t memoryOfHeif(std::int64_t pixels, int bits, bool isAvif, bool hasAlpha);

/// Of a picture that FFmpeg decodes whole from a file of that size.
std::int64_t memoryOfCodedPicture(std::int64_t pixels, std::int64_t fileSize);

/// Of the first frame of a video.
std::int64_t memoryOfFirstFrame(std::int64_t pixels);

}  // namespace quorvin
