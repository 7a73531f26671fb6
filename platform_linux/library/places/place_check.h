// Whether places and their counts are what assets and albums make them, looked at from the start.
#pragma once

#include <cstdint>
#include <optional>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

struct WrongPlaces {
  std::int64_t places = 0;  ///< missing, or of nothing
  std::int64_t counts = 0;  ///< stretches of another count
};

/// None when they cannot be read.
std::optional<WrongPlaces> wrongPlaces(Database& database);

}  // namespace quorvin
