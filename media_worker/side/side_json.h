// What the side files of photo services, in JSON, say.
#pragma once

#include <string>
#include <string_view>

#include "media_protocol/requests.h"

namespace quorvin {

/// Adds what it says to the probe: of a photo or video, or, in a file called "metadata.json", of an
/// album. False when it says neither. `name` is in lower case.
bool readJson(std::string_view content, std::string_view name, MediaProbe& probe);

}  // namespace quorvin
