#include "platform_linux/library/places/place_check.h"

#include <map>
#include <string>

#include "platform_linux/library/places/place.h"
#include "platform_linux/library/places/smart_albums.h"

namespace quorvin {
namespace {

struct Found {
  std::int64_t expected = 0;
  std::int64_t missing = 0;
};
using Listings = std::map<std::int64_t, Found>;

constexpr const char* kListed = "a.trashed_ns IS NULL AND a.hidden = 0 AND a.visible = 1";

// Two columns: how many there should be, and how many of them are missing.
std::string columnsOf(const std::string& condition, const std::string& listing,
                      const std::string& key) {
  return ", total(" + condition + "), total(CASE WHEN " + condition +
         " THEN NOT EXISTS (SELECT 1 FROM places AS p WHERE p.listing = " + listing +
         " AND p.media_type = a.media_type AND p.key = " + key + " AND p.asset = a.id) ELSE 0 END)";
}

constexpr const char* kDateKey = "coalesce(a.created_ns, -9223372036854775808)";

bool lookAtSmartAlbums(Database& database, Listings& listings) {
  std::string columns;
  for (const SmartAlbum& album : kSmartAlbums) {
    std::string condition = "(";
    condition.append(album.condition.empty() ? "1" : album.condition) += ")";
    for (const PlaceOrder order : {PlaceOrder::own, PlaceOrder::date}) {
      columns += columnsOf(condition, std::to_string(listingOf(gallerySmart(album.subtype), order)),
                           order == PlaceOrder::own ? "a.id" : kDateKey);
    }
  }
  Statement row =
      database.prepare("SELECT 0" + columns + " FROM assets AS a NOT INDEXED WHERE " + kListed);
  if (!row.next()) return false;
  int column = 1;
  for (const SmartAlbum& album : kSmartAlbums) {
    for (const PlaceOrder order : {PlaceOrder::own, PlaceOrder::date}) {
      listings[listingOf(gallerySmart(album.subtype), order)] = {row.integer(column),
                                                                 row.integer(column + 1)};
      column += 2;
    }
  }
  return true;
}

bool lookAtAlbums(Database& database, Listings& listings) {
  Statement rows = database.prepare(
      "SELECT m.collection" + columnsOf("1", "m.collection * 2", "m.pos") +
      columnsOf("1", "m.collection * 2 + 1", kDateKey) +
      " FROM members AS m NOT INDEXED CROSS JOIN assets AS a ON a.id = m.asset WHERE " + kListed +
      " GROUP BY m.collection");
  while (rows.next()) {
    listings[listingOf(rows.integer(0), PlaceOrder::own)] = {rows.integer(1), rows.integer(2)};
    listings[listingOf(rows.integer(0), PlaceOrder::date)] = {rows.integer(3), rows.integer(4)};
  }
  return !rows.failed();
}

bool compareWithPlaces(Database& database, Listings& listings, WrongPlaces& wrong) {
  Statement rows = database.prepare("SELECT listing, count(*) FROM places GROUP BY listing");
  std::map<std::int64_t, std::int64_t> there;
  while (rows.next()) there[rows.integer(0)] = rows.integer(1);
  for (const auto& [listing, count] : there) {
    const Found& found = listings[listing];
    wrong.places += count - (found.expected - found.missing);
  }
  for (const auto& [listing, found] : listings) wrong.places += found.missing;
  return !rows.failed();
}

// Every stretch against its places; and that groups begin where blocks do, and that listings have
// all three.
bool compareWithCounts(Database& database, WrongPlaces& wrong) {
  std::string differs;
  int type = 0;
  for (const char* column : {"others", "images", "videos", "sounds"}) {
    differs += std::string(differs.empty() ? "" : " OR ") + column +
               " <> (SELECT count(*) FROM places AS p WHERE p.listing = s.listing"
               " AND p.media_type = " +
               std::to_string(type++) +
               " AND (p.key, p.asset) >= (s.first_key, s.first_asset)"
               " AND (p.key, p.asset) < (s.next_key, s.next_asset))";
  }
  const std::string highest = std::to_string(kHighestKey);
  const auto counts = database.integer(
      "SELECT count(*) FROM (SELECT *, lead(first_key, 1, " + highest +
      ") OVER following AS next_key, lead(first_asset, 1, " + highest +
      ") OVER following AS next_asset FROM place_counts"
      " WINDOW following AS (PARTITION BY level, listing ORDER BY first_key, first_asset)) AS s"
      " WHERE " +
      differs);
  const auto starts = database.integer(
      "SELECT count(*) FROM place_counts AS g WHERE g.level = 1 AND NOT EXISTS"
      " (SELECT 1 FROM place_counts AS b WHERE b.level = 0 AND b.listing = g.listing"
      " AND b.first_key = g.first_key AND b.first_asset = g.first_asset)");
  const std::string lowest = std::to_string(kLowestKey);
  const auto missing = database.integer(
      "SELECT count(*) FROM (SELECT DISTINCT listing FROM places),"
      " (SELECT 0 AS level UNION ALL SELECT 1 UNION ALL SELECT 2) AS l"
      " WHERE (l.level, listing, " +
      lowest + ", " + lowest +
      ") NOT IN (SELECT level, listing, first_key, first_asset FROM place_counts)");
  if (!counts || !starts || !missing) return false;
  wrong.counts = *counts + *starts + *missing;
  return true;
}

}  // namespace

std::optional<WrongPlaces> wrongPlaces(Database& database) {
  const ReadTransaction moment(database);
  Listings listings;
  WrongPlaces wrong;
  if (lookAtSmartAlbums(database, listings) && lookAtAlbums(database, listings) &&
      compareWithPlaces(database, listings, wrong) && compareWithCounts(database, wrong)) {
    return wrong;
  }
  return std::nullopt;
}

}  // namespace quorvin
