// Renderings and conversions of files in memory.
#pragma once

#include <string>

#include "media_protocol/requests.h"
#include "testing/media/pictures.h"

namespace quorvin {

RenderRequest original();
RenderRequest fitInto(double width, double height);

/// The rendering; an empty picture, and the reason, when it fails.
Picture rendered(const Bytes& file, const RenderRequest& request, std::string* reason = nullptr);

/// The rendering as a conversion wants it, encoded; empty, and the reason, when a step fails.
Bytes conversion(const Bytes& file, ImageFormat format, std::string* reason = nullptr);

}  // namespace quorvin
