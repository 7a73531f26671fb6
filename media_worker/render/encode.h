// Encoding pixels to image files.
#pragma once

#include "core/platform/foundation.h"
#include "media_protocol/wire.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// Encodes the pixels in a sealed memory file; the result is a sealed memory file that holds the
/// image file, with the profile of the pixels and no other metadata. JPEG is baseline, with alpha
/// composited on white; PNG has 8 bits a channel, with alpha. An error is one plain sentence.
Result<FileDescriptor> encodePixels(int memory, const EncodeRequest& request);

}  // namespace quorvin
