// Which of libvips' readers of files there are.
#pragma once

#include "media_worker/reading/signature.h"
#include "media_worker/reading/vips_image.h"

namespace quorvin {

/// Blocks all readers of files but those of the formats that libvips is used for. Called once,
/// when libvips has started.
void allowWantedLoaders();

/// The picture, to be read from top to bottom and once, by the reader of its format alone.
/// `scale` makes it smaller while it is decoded, for WebP alone. Null when its header cannot be
/// read, and for formats that libvips is not used for.
ImagePtr openPicture(VipsSource* source, PictureFormat format, VipsFailOn failOn, double scale = 1);

}  // namespace quorvin
