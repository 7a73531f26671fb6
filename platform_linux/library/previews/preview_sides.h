// How large previews are.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "media_protocol/rendering_size.h"

namespace quorvin {

/// A preview fits into a square of so many pixels. `quality` is that of its JPEG, 0 to 1: high
/// enough that nobody who sees a picture made of it beside one made of the original can tell them
/// apart, and the smaller one needs more, since its details are finer.
struct PreviewSide {
  std::int64_t pixels;
  double quality;
};

/// The screen of a phone and a cell of a grid, at three dots a point. From the larger to the
/// smaller, which is made of it.
inline constexpr std::array<PreviewSide, 2> kPreviewSides = {{{1600, 0.92}, {512, 0.96}}};
inline constexpr PreviewSide kGridSide = kPreviewSides.back();

/// From this longer side on a picture gets a preview of that size: of a smaller one the original
/// takes hardly longer, and hardly more space.
constexpr std::int64_t leastSide(const PreviewSide& side) {
  return side.pixels * 3 / 2;
}
inline bool needsPreview(PixelSize picture, const PreviewSide& side) {
  return std::max(picture.width, picture.height) >= leastSide(side);
}

/// How a preview of that picture is rendered.
inline RenderRequest previewRendering(MediaKind kind, PixelSize picture, const PreviewSide& side) {
  RenderRequest request;
  request.kind = kind;
  request.targetWidth = request.targetHeight = static_cast<double>(side.pixels);
  request.fullWidth = picture.width;
  request.fullHeight = picture.height;
  request.failOnDamage = true;
  return request;
}

/// The size of the preview of that picture.
inline PixelSize previewSize(PixelSize picture, const PreviewSide& side) {
  return renderingSize(previewRendering(MediaKind::image, picture, side), picture)->scaled;
}

}  // namespace quorvin
