// Rendering a media file to pixels.
#pragma once

#include "core/platform/foundation.h"
#include "platform_linux/files/file_descriptor.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/media/worker_protocol.h"

namespace quorvin {

struct RenderedPixels {
  PixelLayout layout;
  FileDescriptor memory;  ///< sealed, `layout.byteCount()` bytes
};

/// Reads the file from offset 0. The rendering is upright, in 8-bit sRGB, of exactly the size that
/// `targetSize` gives. `startLibraries` was called before. An error is one plain sentence.
Result<RenderedPixels> renderFile(int fd, const RenderRequest& request);

}  // namespace quorvin
