#include "media_worker/render/encode.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "media_protocol/sealed_memory.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/render/jpeg_encoder.h"
#include "media_worker/render/png_encoder.h"

namespace quorvin {

Result<FileDescriptor> encodePixels(int memory, const EncodeRequest& request) {
  const PixelLayout& layout = request.layout;
  if (sealedMemorySize(memory) != layout.byteCount()) {
    return Failure(LibraryErrorCode::internal, "the pixels are not as announced.");
  }
  const bool isJpeg = request.format == ImageFormat::jpeg;
  requireMemory(static_cast<std::int64_t>(layout.byteCount()) + (isJpeg ? 0 : memoryOfPng(layout)));
  const MappedMemory mapped(memory, layout.byteCount(), MappedMemory::Access::read);
  FileDescriptor encoded = makeMemoryFile(0);
  if (!mapped || !encoded) return Failure(LibraryErrorCode::internal, "memory ran out.");
  const auto pixels = mapped.bytes().first(layout.pixelBytes());
  const auto profile = mapped.bytes().subspan(layout.pixelBytes());
  const int quality = std::clamp(static_cast<int>(std::lround(request.quality * 100)), 1, 100);
  const bool done = isJpeg ? encodeJpeg(pixels, layout, quality, profile, encoded.get())
                           : encodePng(pixels, layout, profile, encoded.get());
  if (!done || !sealMemoryFile(encoded)) {
    return Failure(LibraryErrorCode::internal, "the picture cannot be encoded.");
  }
  return encoded;
}

}  // namespace quorvin
