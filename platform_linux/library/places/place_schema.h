// The tables of places, and the triggers that keep them.
#pragma once

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Makes them for a catalogue that has none, in place of the indexes that answered listings before:
/// a step of the schema, never changed afterwards.
bool makePlaces(Database& database);

/// Makes the contents of the tables anew from assets and albums. Inside a change.
bool rebuildPlaces(Database& database);

}  // namespace quorvin
