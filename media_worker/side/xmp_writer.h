// XMP side files for photos and videos that leave a library.
#pragma once

#include <string>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A packet that says what the request tells, and all else that `existing` says, which is a packet
/// or empty. `readXmp` reads the same from it.
Result<std::string> writeXmp(const std::string& existing, const WriteXmpRequest& request);

/// The same into a memory file that is final; `existing` is -1 when there is none.
Result<FileDescriptor> writeXmpFile(int existing, const WriteXmpRequest& request);

}  // namespace quorvin
