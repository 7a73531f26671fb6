// JPEGs of the best quality.
#pragma once

#include <optional>

#include "core/platform/image_codec.h"
#include "core/platform/value.h"

namespace quorvin {

/// None without an image, and when it cannot be encoded.
std::optional<ByteBuffer> jpegOf(ImageCodec& codec, const UIImage* image);

/// None also when the data is no image.
std::optional<ByteBuffer> jpegOfData(ImageCodec& codec, const ByteBuffer& data);

}  // namespace quorvin
