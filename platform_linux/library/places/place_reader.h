// Reading a listing from any of its places on.
#pragma once

#include <cstdint>
#include <string>

#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/places/place.h"

namespace quorvin {

/// What a fetch lists: places of some types, from either end.
struct PlaceListing {
  std::int64_t listing = 0;
  MediaTypes types;        ///< only such as there are any of
  std::int64_t total = 0;  ///< how many places of these types there are
  bool isDescending = false;
};

/// Where to begin with reading: at a place, and how many are to be skipped from there.
struct PlaceStart {
  PlaceKey bound;  ///< of descending listings, what is behind
  std::int64_t skipped = 0;
};

/// Finds the place of a number by the counts. What cannot be read fails the statement that follows,
/// too.
PlaceStart findPlace(Database& database, const PlaceListing& listing, std::int64_t number);

/// A statement of the columns `key` and `asset`, in order: it takes the values of `bindPlaces`.
std::string selectPlaces(const PlaceListing& listing);
void bindPlaces(Statement& statement, const PlaceListing& listing, const PlaceStart& start,
                std::int64_t count);

}  // namespace quorvin
