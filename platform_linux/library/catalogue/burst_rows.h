// Who represents a burst, in the catalogue. Writing runs inside a change.
#pragma once

#include <string>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

enum class BurstChoice {
  keep,  ///< a representative stays one unless the camera's own choice joins it
  anew,  ///< the camera's choice, or else the first by date and name
};
/// Chooses who represents the burst; where nobody does, anew.
bool settleBurst(Database& database, const std::string& burstIdentifier, BurstChoice choice);
/// False also when the burst has no member.
bool isRepresented(Database& database, const std::string& burstIdentifier);

}  // namespace quorvin
