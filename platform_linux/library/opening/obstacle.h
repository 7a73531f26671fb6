// Whether a library may be written to. It is looked at once, when the library is opened.
#pragma once

#include <optional>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

enum class Obstacle {
  none,
  volume,      ///< is read-only
  permission,  ///< is missing
  network,     ///< file system, where neither locks nor shared memory hold
};

/// What keeps this process from writing to the library, or from making one at its place.
Obstacle obstacleTo(const LibraryFolder& folder);

/// The library can only be read, because of the obstacle; it is one.
Failure onlyRead(const LibraryFolder& folder, Obstacle obstacle);
/// Of the library as it is now; none when it may be written to, or is missing.
std::optional<Failure> refusalOfChanges(const LibraryFolder& folder);
/// A library cannot be made because of the obstacle; it is one.
Failure cannotBeMade(const LibraryFolder& folder, Obstacle obstacle);

/// Nothing on this machine can change the library, for its whole file system is read-only, and not
/// only the way by which this process reaches it.
bool isUnchanging(const LibraryFolder& folder);

}  // namespace quorvin
