// Many assets leave their places, or take them again, at once.
#pragma once

#include <string>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Takes the assets of a list, as `listOfRows` makes it, out of all listings, or puts them into
/// theirs, as their rows now stand; those that are in no listing are left out. While no
/// triggers fire, inside a change. False when writing failed.
bool removePlaces(Database& database, const std::string& rows);
bool addPlaces(Database& database, const std::string& rows);

}  // namespace quorvin
