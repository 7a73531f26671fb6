// HDR pictures on common screens.
#pragma once

#include "media_worker/reading/named_colours.h"

namespace quorvin {

/// Makes 8-bit sRGB, or sRGB with alpha, of an 8-bit or 16-bit picture of a high range, PQ or HLG.
/// Paper white comes out as 238 of 255. False when it fails.
bool mapTones(ImagePtr& image, ColourCodes codes);

}  // namespace quorvin
