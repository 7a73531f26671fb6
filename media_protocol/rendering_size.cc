#include "media_protocol/rendering_size.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "media_protocol/wire.h"

namespace quorvin {

namespace {

bool isOriginal(const RenderRequest& request) {
  return request.fit == RenderRequest::Fit::original ||
         (request.targetWidth == -1 && request.targetHeight == -1);
}

std::string text(double number) {
  std::ostringstream out;
  // Some NaN would print a sign.
  out << (std::isnan(number) ? std::abs(number) : number);
  return out.str();
}

std::int64_t scaledSide(std::int64_t side, double scale) {
  return std::max<std::int64_t>(1, std::llround(static_cast<double>(side) * scale));
}

std::int64_t cutSide(std::int64_t side, double target) {
  if (target >= static_cast<double>(side)) return side;
  return scaledSide(1, target);
}

}  // namespace

Result<RenderingSize> renderingSize(const RenderRequest& request, PixelSize upright) {
  if (isOriginal(request)) return RenderingSize{upright, upright};
  // Written so that NaN fails.
  if (!(request.targetWidth > 0 && request.targetHeight > 0)) {
    return Failure(LibraryErrorCode::invalidResource,
                   "the target size " + text(request.targetWidth) + " × " +
                       text(request.targetHeight) + " is not valid.");
  }
  const bool isSmaller = request.fullWidth > 0 && request.fullHeight > 0;
  const PixelSize full = isSmaller ? PixelSize{request.fullWidth, request.fullHeight} : upright;
  const double horizontal = request.targetWidth / static_cast<double>(full.width);
  const double vertical = request.targetHeight / static_cast<double>(full.height);
  const bool fill = request.fit == RenderRequest::Fit::fill;
  const double scale =
      std::min(fill ? std::max(horizontal, vertical) : std::min(horizontal, vertical), 1.0);
  RenderingSize size;
  size.scaled = {std::min(upright.width, scaledSide(full.width, scale)),
                 std::min(upright.height, scaledSide(full.height, scale))};
  size.cut = size.scaled;
  if (fill && request.crop) {
    size.cut = {cutSide(size.scaled.width, request.targetWidth),
                cutSide(size.scaled.height, request.targetHeight)};
  }
  return size;
}

bool showsSameCut(PixelSize preview, PixelSize picture) {
  const double width = static_cast<double>(picture.width) * static_cast<double>(preview.height) /
                       static_cast<double>(picture.height);
  return std::abs(width - static_cast<double>(preview.width)) < 2;
}

}  // namespace quorvin
