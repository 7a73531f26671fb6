// The tables of places, and the triggers that keep them.
#pragma once

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Makes them for a catalogue that has none, in place of the indexes that answered listings before:
/// a step of the schema, never changed afterwards.
bool makePlaces(Database& database);

/// Makes the contents of the tables anew from assets and albums. Inside a change.
bool rebuildPlaces(Database& database);

/// What every change ends with: triggers follow again, and counts are settled. False when that, or
/// writing, failed.
bool settlePlaces(Database& database);

/// While it lives no trigger follows what is done to assets and albums: who makes many changes at
/// once sees to the places itself. Inside a change.
class PlacesSuspended {
 public:
  explicit PlacesSuspended(Database& database);
  ~PlacesSuspended();
  PlacesSuspended(const PlacesSuspended&) = delete;
  PlacesSuspended& operator=(const PlacesSuspended&) = delete;

 private:
  Database& database_;
};

}  // namespace quorvin
