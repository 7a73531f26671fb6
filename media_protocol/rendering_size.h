// The size of a rendering.
#pragma once

#include <cstdint>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"

namespace quorvin {

struct PixelSize {
  std::int64_t width = 0;
  std::int64_t height = 0;

  PixelSize turned() const { return {height, width}; }
  friend bool operator==(const PixelSize&, const PixelSize&) = default;
};

/// What becomes of an image: it is scaled, then cut around its centre. Neither size has an empty
/// side or exceeds the one before.
struct RenderingSize {
  PixelSize scaled;
  PixelSize cut;  ///< as `scaled` where nothing is cut
};

/// `upright` is the image's size, turned upright. Fit is as large as fits into the target, fill as
/// small as covers it; nothing is enlarged. Both are reckoned from the full size that the request
/// tells, where it tells one. A target that is no size is an error.
Result<RenderingSize> renderingSize(const RenderRequest& request, PixelSize upright);

/// Whether a preview shows the same cut of the picture. Its sides are rounded to whole pixels, some
/// to even ones.
bool showsSameCut(PixelSize preview, PixelSize picture);

}  // namespace quorvin
