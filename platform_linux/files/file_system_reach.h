// Who else may reach the files of a file system.
#pragma once

#include <cstdint>

namespace quorvin {

enum class Reach {
  thisMachine,
  uncertain,  ///< what stands behind it may be anything: a program, or the host of this machine
  network,    ///< programs on other machines, with which nobody here shares memory
};

/// Of the file system of this type, as `fstatfs` tells it (`f_type`, its lowest 32 bits).
Reach reachOf(std::uint32_t fileSystemType);

}  // namespace quorvin
