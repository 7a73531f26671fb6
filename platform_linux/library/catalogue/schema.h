// The catalogue's tables, and how an older catalogue becomes a present one.
#pragma once

#include <cstdint>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

class Database;

/// Marks the file as a catalogue of ours ("Qvrn").
inline constexpr std::int64_t kCatalogueApplicationId = 0x5176726E;
inline constexpr std::int64_t kSchemaVersion = 4;

enum class CatalogueState {
  empty,  ///< no table yet
  older,  ///< ours, of an earlier version
  current,
  newer,    ///< ours, of a later version
  foreign,  ///< somebody else's database
};

/// What the open database is; an error when it cannot be read.
Result<CatalogueState> catalogueState(Database& database);

/// Brings an empty or older catalogue to the present version, in one transaction. The caller holds
/// the writer lock.
Done migrate(Database& database);

}  // namespace quorvin
