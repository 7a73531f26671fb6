// Where things lie on this machine.
#pragma once

#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

/// $XDG_DATA_HOME/quorvin/library, or the same below ~/.local/share. An error when the user has no
/// home.
Result<std::string> defaultLibraryPath();

/// Where this machine remembers which files its media workers failed over:
/// $XDG_STATE_HOME/quorvin/failed, or the same below ~/.local/state. Empty when the user has no
/// home.
std::string failedFilesPath();

/// The worker program: $QUORVIN_MEDIA_WORKER, else the one beside the file that this code was
/// loaded from (a build tree), else the one that was installed with it. It may be missing.
std::string mediaWorkerProgram();

}  // namespace quorvin
