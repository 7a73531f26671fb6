// What a stretch of the journal comes to.
#pragma once

#include <cstdint>

#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/watch/library_watch.h"

namespace quorvin {

/// Fills the lists from the entries behind `after` and the present rows, inside one read
/// transaction. `limitedAccess` leaves out what is not selected for this program, and the user's
/// albums. False when reading failed.
bool summariseJournal(Database& database, std::int64_t after, bool limitedAccess,
                      LibraryChange& change);

/// The identifiers of all galleries that there are.
bool listGalleries(Database& database, bool limitedAccess, std::vector<std::string>& galleries);

}  // namespace quorvin
