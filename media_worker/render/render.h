// Rendering a media file to pixels.
#pragma once

#include "core/platform/foundation.h"
#include "media_protocol/requests.h"
#include "media_protocol/wire.h"
#include "media_worker/render/pixel_memory.h"

namespace quorvin {

/// Reads the file from offset 0. The rendering is upright, in 8-bit sRGB unless it keeps its
/// profile, of exactly the size that `targetSize` gives. `startLibraries` was called before. An
/// error is one plain sentence.
Result<RenderedPixels> renderFile(int fd, const RenderRequest& request);

}  // namespace quorvin
