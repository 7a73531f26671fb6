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

/// Whether a file keeps its number there, and the time of its last change tells of each one: FAT
/// does neither, and of other machines nothing is known.
bool keepsTrackOfChanges(std::uint32_t fileSystemType);

/// Whether `syncfs` makes all that was written to it durable, on the device as well.
bool flushesAsAWhole(std::uint32_t fileSystemType);

}  // namespace quorvin
