// What a picture file holds beside its pixels.
#pragma once

#include "media_worker/reading/input_file.h"
#include "media_worker/reading/signature.h"

namespace quorvin {

/// Whether it would keep a reader busy for long: decoders of JPEG look through all segments at each
/// further one, the texts of a PNG can be a thousand times as long as the file, and so can the tags
/// of a TIFF.
bool hasTooMuchBesidePixels(const InputFile& file, PictureFormat format);

}  // namespace quorvin
