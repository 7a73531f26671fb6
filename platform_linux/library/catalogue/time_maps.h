// How original videos play that do not play as they are, in the catalogue.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media_protocol/time_map.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Stores the map of an asset that has none; an empty one is nothing to store. False when writing
/// failed.
bool insertTimeMap(Database& database, std::int64_t asset, const TimeMap& map);

/// False when writing failed.
bool removeTimeMap(Database& database, std::int64_t asset);

/// Empty when there is none; none when it cannot be read.
std::optional<TimeMap> findTimeMap(Database& database, const std::string& localIdentifier);

}  // namespace quorvin
