// Pictures in formats that FFmpeg alone decodes.
#pragma once

#include "media_worker/reading/input_file.h"
#include "media_worker/reading/signature.h"
#include "media_worker/reading/vips_image.h"

namespace quorvin {

/// Whether the format is one of these.
bool isCodedPicture(PictureFormat format);

/// The picture as stored, 8-bit RGB or RGBA. Null when it cannot be decoded, and for other formats.
ImagePtr decodeCodedPicture(const InputFile& file, PictureFormat format);

}  // namespace quorvin
