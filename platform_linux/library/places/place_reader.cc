#include "platform_linux/library/places/place_reader.h"

#include <array>

namespace quorvin {
namespace {

// From so near an end it is quicker to go there than to ask for the way.
constexpr std::int64_t kNear = 64;

// A stretch, and in it a place by its number, in rising order.
struct Whereabouts {
  PlaceKey first;
  PlaceKey end{kHighestKey, kHighestKey};
  std::int64_t places = 0;
  std::int64_t number = 0;
};

Statement stretchesIn(Database& database, const PlaceListing& listing, PlaceLevel level,
                      const Whereabouts& within, bool isBackwards) {
  constexpr std::array<const char*, kMediaTypes> kColumns = {"others", "images", "videos",
                                                             "sounds"};
  std::string sum;
  for (std::size_t i = 0; i < kMediaTypes; ++i) {
    if (listing.types.wanted[i]) sum.append(sum.empty() ? "" : " + ").append(kColumns[i]);
  }
  Statement rows = database.prepare(
      "SELECT first_key, first_asset, " + sum +
      " FROM place_counts WHERE level = ? AND listing = ? AND (first_key, first_asset) >= (?, ?)"
      " AND (first_key, first_asset) < (?, ?) ORDER BY " +
      (isBackwards ? "first_key DESC, first_asset DESC" : "first_key, first_asset"));
  rows.bind(static_cast<std::int64_t>(level), listing.listing, within.first.key, within.first.asset,
            within.end.key, within.end.asset);
  return rows;
}

// Among the stretches of a level, the one that has the place; from the end that is nearer.
void narrow(Database& database, const PlaceListing& listing, PlaceLevel level, Whereabouts& where) {
  const bool isBackwards = where.number > where.places / 2;
  Statement rows = stretchesIn(database, listing, level, where, isBackwards);
  std::int64_t left = isBackwards ? where.places - 1 - where.number : where.number;
  PlaceKey end = where.end;
  while (rows.next()) {
    const PlaceKey first{rows.integer(0), rows.integer(1)};
    const std::int64_t places = rows.integer(2);
    if (left < places) {
      where.first = first;
      where.number = isBackwards ? places - 1 - left : left;
      where.places = places;
      if (isBackwards) {
        where.end = end;
      } else if (rows.next()) {
        where.end = {rows.integer(0), rows.integer(1)};
      }
      return;
    }
    left -= places;
    end = first;
  }
}

}  // namespace

PlaceStart findPlace(Database& database, const PlaceListing& listing, std::int64_t number) {
  Whereabouts where;
  where.places = listing.total;
  where.number = listing.isDescending ? listing.total - 1 - number : number;
  if (number > kNear) {
    narrow(database, listing, PlaceLevel::group, where);
    narrow(database, listing, PlaceLevel::block, where);
  }
  return listing.isDescending ? PlaceStart{where.end, where.places - 1 - where.number}
                              : PlaceStart{where.first, where.number};
}

std::string selectPlaces(const PlaceListing& listing) {
  const std::string from =
      listing.isDescending ? " AND (key, asset) < (?2, ?3)" : " AND (key, asset) >= (?2, ?3)";
  std::string text;
  for (std::size_t type = 0; type < kMediaTypes; ++type) {
    if (!listing.types.wanted[type]) continue;
    text += std::string(text.empty() ? "" : " UNION ALL ") +
            "SELECT key, asset FROM places WHERE listing = ?1 AND media_type = " +
            std::to_string(type) + from;
  }
  return text + (listing.isDescending ? " ORDER BY key DESC, asset DESC" : " ORDER BY key, asset") +
         " LIMIT ?4 OFFSET ?5";
}

void bindPlaces(Statement& statement, const PlaceListing& listing, const PlaceStart& start,
                std::int64_t count) {
  statement.bind(listing.listing, start.bound.key, start.bound.asset, count, start.skipped);
}

}  // namespace quorvin
