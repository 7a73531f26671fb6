// The names of languages in the containers that are written.
#pragma once

#include <string>
#include <string_view>

#include "media_protocol/requests.h"

namespace quorvin {

/// The name of the language as the container's muxer takes it.
std::string languageIn(VideoContainer container, std::string_view language);

}  // namespace quorvin
