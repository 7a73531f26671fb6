#include "platform_linux/library/places/place_reader.h"

namespace quorvin {
namespace {

// From so near an end it is quicker to go there than to ask for the way.
constexpr std::int64_t kNear = 64;

// Among the stretches from the start on, the one in which so many places more are reached.
void approach(Database& database, const PlaceListing& listing, PlaceLevel level,
              PlaceStart& start) {
  Statement rows = database.prepare(
      listing.isDescending
          ? "SELECT first_key, first_asset, others, images, videos, sounds FROM place_counts"
            " WHERE level = ? AND listing = ? AND (first_key, first_asset) < (?, ?)"
            " ORDER BY first_key DESC, first_asset DESC"
          : "SELECT first_key, first_asset, others, images, videos, sounds FROM place_counts"
            " WHERE level = ? AND listing = ? AND (first_key, first_asset) >= (?, ?)"
            " ORDER BY first_key, first_asset");
  rows.bind(static_cast<std::int64_t>(level), listing.listing, start.bound.key, start.bound.asset);
  while (rows.next()) {
    std::int64_t places = 0;
    for (std::size_t i = 0; i < kMediaTypes; ++i) {
      if (listing.types.wanted[i]) places += rows.integer(2 + static_cast<int>(i));
    }
    const PlaceKey first{rows.integer(0), rows.integer(1)};
    if (start.skipped < places) {
      if (!listing.isDescending) start.bound = first;
      return;
    }
    start.skipped -= places;
    if (listing.isDescending) start.bound = first;
  }
}

}  // namespace

PlaceStart findPlace(Database& database, const PlaceListing& listing, std::int64_t number) {
  PlaceStart start{listing.isDescending ? PlaceKey{kHighestKey, kHighestKey} : PlaceKey{}, number};
  if (number <= kNear) return start;
  approach(database, listing, PlaceLevel::group, start);
  approach(database, listing, PlaceLevel::block, start);
  return start;
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
