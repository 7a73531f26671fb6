// Whether a library can be used here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

struct LibraryStanding {
  bool isThere = false;  ///< false also when none was made yet
  bool canBeRead = false;
  /// Why it does not open, or can only be read.
  std::optional<Failure> trouble;
  std::int64_t freeBytes = 0;  ///< for this user, where it is or would be made
};

LibraryStanding standingOf(const std::string& path);

/// The version of the library that the catalogue is kept with.
std::string databaseVersion();

}  // namespace quorvin
