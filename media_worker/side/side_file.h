// Files that say something of the photo or video, or the folder, that they lie beside.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media_protocol/requests.h"
#include "media_worker/reading/input_file.h"

namespace quorvin {

inline constexpr std::int64_t kLargestSideFile = 4 << 20;

/// Told by the ending of its name and by its content; none when it is no such file.
std::optional<MediaProbe> probeSide(const InputFile& file, const std::string& name);

/// All of a file that is no larger than that.
std::string sideContent(const InputFile& file);

}  // namespace quorvin
