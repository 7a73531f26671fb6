// The options of the C interface as the platform takes them.
#pragma once

#include "include/quorvin/quorvin.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/linux_platform.h"

namespace quorvin {

/// Checks every option and fills in defaults; every text is copied. `options` may be null or of
/// another version, which is an error.
Result<LinuxPlatformOptions> readEngineOptions(const QuorvinOptions* options);

}  // namespace quorvin
