// What a media file is and what its metadata says.
#pragma once

#include <string>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"

namespace quorvin {

/// Reads the file from offset 0, whatever the descriptor's own offset, which stays as it is.
/// `name` is the file's own name.
Result<MediaProbe> probeFile(int fd, const std::string& name);

}  // namespace quorvin
