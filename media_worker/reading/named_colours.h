// Colours that a file names by code points in place of a profile.
#pragma once

#include "media_worker/reading/vips_image.h"

namespace quorvin {

/// The code points of ISO/IEC 23091-2.
struct ColourCodes {
  int primaries = 2;  ///< unspecified
  int transfer = 2;
};

/// Adobe RGB has no code points of its own: numbers that are none stand for its primaries and its
/// curve.
inline constexpr ColourCodes kAdobeRgb{1000, 1000};

inline constexpr int kTransferPq = 16;
inline constexpr int kTransferHlg = 18;

/// Whether the brightest values are for screens that show far more light than white paper.
inline bool isHighRange(ColourCodes codes) {
  return codes.transfer == kTransferPq || codes.transfer == kTransferHlg;
}

/// Notes the codes with the image.
void nameColours(VipsImage* image, ColourCodes codes);

/// What tells the colours of `from`, its profile and its codes, tells those of `to` as well.
void copyColours(VipsImage* from, VipsImage* to);

/// Those that were noted; unspecified when there are none.
ColourCodes namedColours(VipsImage* image);

}  // namespace quorvin
