// Finished pixels in memory that another process will map.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "core/platform/foundation.h"
#include "media_protocol/sealed_memory.h"
#include "media_protocol/wire.h"
#include "media_worker/reading/vips_image.h"
#include "posix/file_descriptor.h"

namespace quorvin {

struct RenderedPixels {
  PixelLayout layout;
  FileDescriptor memory;  ///< sealed, `layout.byteCount()` bytes
};

/// One picture's pixels in a memory file, interleaved, rows without padding. One thread at a time.
class PixelMemory {
 public:
  /// Null when memory runs out.
  static std::shared_ptr<PixelMemory> make(const PixelLayout& layout);

  const PixelLayout& layout() const { return layout_; }
  std::uint8_t* data() const { return mapped_->data(); }

  /// The pixels as an image that shares them, and that keeps `self` alive.
  static ImagePtr imageOf(const std::shared_ptr<PixelMemory>& self);

  /// Puts the profile behind the pixels and seals the file; there are no pixels here any more. No
  /// image of them may be alive.
  Result<RenderedPixels> handOver(std::span<const std::uint8_t> profile);

 private:
  PixelMemory(const PixelLayout& layout, FileDescriptor file)
      : layout_(layout), file_(std::move(file)) {}

  PixelLayout layout_;
  FileDescriptor file_;
  std::unique_ptr<MappedMemory> mapped_;
};

}  // namespace quorvin
