// One row after another would count down the same stretches again and again. So all places are
// gathered, in the order of listings, and each stretch is changed once.
#include "platform_linux/library/places/place_moves.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform_linux/library/places/place.h"
#include "platform_linux/library/places/smart_albums.h"

namespace quorvin {
namespace {

struct Place {
  std::int64_t listing = 0;
  PlaceKey key;
  std::int64_t mediaType = 0;
};
using Places = std::vector<Place>;

constexpr const char* kListedOf =
    " a.id IN (SELECT value FROM json_each(?)) AND a.trashed_ns IS NULL AND a.hidden = 0"
    " AND a.visible = 1";

void append(Places& places, ListedGallery gallery, std::int64_t ownKey, const Statement& row) {
  const std::int64_t asset = row.integer(0);
  const std::int64_t date = row.optionalInteger(2).value_or(kLowestKey);
  places.push_back({listingOf(gallery, PlaceOrder::own), {ownKey, asset}, row.integer(1)});
  places.push_back({listingOf(gallery, PlaceOrder::date), {date, asset}, row.integer(1)});
}

bool gatherSmart(Database& database, const std::string& rows, Places& places) {
  std::string sql = "SELECT a.id, a.media_type, a.created_ns";
  for (const SmartAlbum& album : kSmartAlbums) {
    sql.append(", ").append(album.condition.empty() ? "1" : album.condition);
  }
  Statement assets = database.prepare(sql + " FROM assets AS a WHERE" + kListedOf);
  assets.bind(rows);
  while (assets.next()) {
    int column = 3;
    for (const SmartAlbum& album : kSmartAlbums) {
      if (assets.integer(column++) == 0) continue;
      append(places, gallerySmart(album.subtype), assets.integer(0), assets);
    }
  }
  return !assets.failed();
}

bool gatherAlbums(Database& database, const std::string& rows, Places& places) {
  Statement members = database.prepare(
      std::string("SELECT a.id, a.media_type, a.created_ns, m.collection, m.pos FROM assets AS a"
                  " CROSS JOIN members AS m ON m.asset = a.id WHERE") +
      kListedOf);
  members.bind(rows);
  while (members.next()) append(places, members.integer(3), members.integer(4), members);
  return !members.failed();
}

class Move {
 public:
  Move(Database& database, bool isAddition) : database_(database), isAddition_(isAddition) {}

  bool run(Places& places) {
    std::sort(places.begin(), places.end(), [](const Place& left, const Place& right) {
      return left.listing != right.listing ? left.listing < right.listing : left.key < right.key;
    });
    for (auto first = places.begin(); first != places.end();) {
      const auto last = std::find_if(first, places.end(), [first](const Place& place) {
        return place.listing != first->listing;
      });
      const std::span<const Place> listing(first, last);
      for (const PlaceLevel level : {PlaceLevel::block, PlaceLevel::group, PlaceLevel::whole}) {
        if (!count(listing, level)) return false;
      }
      first = last;
    }
    return move(places);
  }

 private:
  // By type as well, as the table is ordered.
  bool move(Places& places) {
    std::sort(places.begin(), places.end(), [](const Place& left, const Place& right) {
      if (left.listing != right.listing) return left.listing < right.listing;
      return left.mediaType != right.mediaType ? left.mediaType < right.mediaType
                                               : left.key < right.key;
    });
    Statement statement = database_.prepare(
        isAddition_ ? "INSERT INTO places VALUES (?, ?, ?, ?)"
                    : "DELETE FROM places WHERE listing = ? AND media_type = ? AND key = ?"
                      " AND asset = ?");
    for (const Place& place : places) {
      statement.rewind();
      statement.bind(place.listing, place.mediaType, place.key.key, place.key.asset);
      if (!statement.run()) return false;
    }
    return true;
  }

  bool count(std::span<const Place> places, PlaceLevel level) {
    Statement change = database_.prepare(
        "UPDATE place_counts SET others = others + ?, images = images + ?, videos = videos + ?,"
        " sounds = sounds + ? WHERE level = ? AND listing = ? AND first_key = ?"
        " AND first_asset = ?");
    for (std::size_t i = 0; i < places.size();) {
      const auto stretch = stretchOf(places[i], level);
      if (!stretch) return false;
      TypeCounts counts;
      for (; i < places.size() && places[i].key < stretch->next; ++i) {
        counts.of[static_cast<std::size_t>(places[i].mediaType)] += isAddition_ ? 1 : -1;
      }
      change.rewind();
      for (const std::int64_t number : counts.of) change.bind(number);
      change.bind(static_cast<std::int64_t>(level), places.front().listing, stretch->first.key,
                  stretch->first.asset);
      if (!change.run()) return false;
    }
    return true;
  }

  struct Stretch {
    PlaceKey first;
    PlaceKey next;
  };

  std::optional<Stretch> stretchOf(const Place& place, PlaceLevel level) {
    Stretch stretch{{}, {kHighestKey, kHighestKey}};
    if (level == PlaceLevel::whole) return stretch;
    Statement covering = database_.prepare(
        "SELECT first_key, first_asset FROM place_counts WHERE level = ? AND listing = ?"
        " AND (first_key, first_asset) <= (?, ?) ORDER BY first_key DESC, first_asset DESC LIMIT "
        "1");
    covering.bind(static_cast<std::int64_t>(level), place.listing, place.key.key, place.key.asset);
    if (covering.next()) stretch.first = {covering.integer(0), covering.integer(1)};
    Statement behind = database_.prepare(
        "SELECT first_key, first_asset FROM place_counts WHERE level = ? AND listing = ?"
        " AND (first_key, first_asset) > (?, ?) ORDER BY first_key, first_asset LIMIT 1");
    behind.bind(static_cast<std::int64_t>(level), place.listing, place.key.key, place.key.asset);
    if (behind.next()) stretch.next = {behind.integer(0), behind.integer(1)};
    if (covering.failed() || behind.failed()) return std::nullopt;
    return stretch;
  }

  Database& database_;
  const bool isAddition_;
};

bool move(Database& database, const std::string& rows, bool isAddition) {
  Places places;
  return gatherSmart(database, rows, places) && gatherAlbums(database, rows, places) &&
         Move(database, isAddition).run(places);
}

}  // namespace

bool removePlaces(Database& database, const std::string& rows) {
  return move(database, rows, false);
}

bool addPlaces(Database& database, const std::string& rows) {
  return move(database, rows, true);
}

}  // namespace quorvin
