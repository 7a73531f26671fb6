// Decoded FFmpeg frames as pictures.
#pragma once

extern "C" {
#include <libavutil/pixfmt.h>
}

#include "media_worker/reading/vips_image.h"

struct AVFrame;

namespace quorvin {

/// The frame as stored: RGB, or RGBA where it has alpha, neither turned nor made square, with what
/// it says of its colours noted. It has 8 bits a channel, or 16 where it is of a high range. Null
/// when it cannot be converted.
ImagePtr imageOfFrame(const AVFrame& frame);

/// The matrix of a picture's colours; an unmarked one is told by its height, as players do.
AVColorSpace matrixOf(AVColorSpace marked, int height);

}  // namespace quorvin
