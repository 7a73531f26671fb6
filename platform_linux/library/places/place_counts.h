// The counts of places, stretch by stretch.
#pragma once

#include <string>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Statements that make the indexes by which stretches are found that are too long or too short.
std::string indexesOfCounts();

/// Divides stretches that grew too long and joins those that became too short. Inside a change,
/// last. False when writing failed.
bool settleCounts(Database& database);

}  // namespace quorvin
