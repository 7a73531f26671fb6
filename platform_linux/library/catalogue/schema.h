// The catalogue's tables, and how an older catalogue becomes a present one.
#pragma once

#include <cstdint>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

class Database;
struct LibraryFolder;

/// Marks the file as a catalogue of ours ("Qvrn").
inline constexpr std::int64_t kCatalogueApplicationId = 0x5176726E;
inline constexpr std::int64_t kSchemaVersion = 6;

enum class CatalogueState {
  empty,  ///< no table yet
  older,  ///< ours, of an earlier version
  current,
  newer,    ///< ours, of a later version
  foreign,  ///< somebody else's database
};

/// What the open database is; an error when it cannot be read.
Result<CatalogueState> catalogueState(Database& database);

/// An error, and nothing may be written, unless the catalogue is of the present version now. Others
/// may have brought it up to date since it was opened, so a writer asks under its lock.
Done requirePresentVersion(Database& database, const LibraryFolder& folder);
/// Of one that a later version made.
Failure madeByLaterVersion(const LibraryFolder& folder);

/// Brings an empty or older catalogue to the present version, in one transaction. The caller holds
/// the writer lock. An empty one gets this status.
Done migrate(Database& database, std::int64_t statusWhenEmpty);

}  // namespace quorvin
