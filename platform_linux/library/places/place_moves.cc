// One row after another would count down the same stretches again and again. So all places are
// gathered, in the order of listings, and each stretch is changed once.
#include "platform_linux/library/places/place_moves.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
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

// What decides the places of an asset; listed ones alone.
struct ListedAsset {
  std::int64_t mediaType = 0;
  std::int64_t date = 0;
};
using ListedAssets = std::unordered_map<std::int64_t, ListedAsset>;

void append(Places& places, ListedGallery gallery, std::int64_t row, std::int64_t ownKey,
            const ListedAsset& asset) {
  places.push_back({listingOf(gallery, PlaceOrder::own), {ownKey, row}, asset.mediaType});
  places.push_back({listingOf(gallery, PlaceOrder::date), {asset.date, row}, asset.mediaType});
}

bool gatherSmart(Database& database, const std::string& rows, ListedAssets& listed,
                 Places& places) {
  std::string sql = "SELECT a.id, a.media_type, a.created_ns";
  for (const SmartAlbum& album : kSmartAlbums) {
    sql.append(", ").append(album.condition.empty() ? "1" : album.condition);
  }
  Statement assets = database.prepare(
      sql +
      " FROM assets AS a WHERE a.id IN (SELECT value FROM json_each(?)) AND a.trashed_ns IS NULL"
      " AND a.hidden = 0 AND a.visible = 1");
  assets.bind(rows);
  while (assets.next()) {
    const std::int64_t row = assets.integer(0);
    const ListedAsset asset{assets.integer(1), assets.optionalInteger(2).value_or(kLowestKey)};
    listed.emplace(row, asset);
    int column = 3;
    for (const SmartAlbum& album : kSmartAlbums) {
      if (assets.integer(column++) == 0) continue;
      append(places, gallerySmart(album.subtype), row, row, asset);
    }
  }
  return !assets.failed();
}

bool gatherAlbums(Database& database, const std::string& rows, const ListedAssets& listed,
                  Places& places) {
  Statement members = database.prepare(
      "SELECT asset, collection, pos FROM members WHERE asset IN (SELECT value FROM json_each(?))");
  members.bind(rows);
  while (members.next()) {
    const auto asset = listed.find(members.integer(0));
    if (asset == listed.end()) continue;
    append(places, members.integer(1), asset->first, members.integer(2), asset->second);
  }
  return !members.failed();
}

// Finds the stretches of places that come in their order. Most often the next one is near.
class StretchWalk {
 public:
  StretchWalk(Database& database, PlaceLevel level, std::int64_t listing)
      : level_(static_cast<std::int64_t>(level)),
        listing_(listing),
        covering_(database.prepare(
            "SELECT first_key, first_asset FROM place_counts WHERE level = ? AND listing = ?"
            " AND (first_key, first_asset) <= (?, ?)"
            " ORDER BY first_key DESC, first_asset DESC LIMIT 1")),
        following_(database.prepare(
            "SELECT first_key, first_asset FROM place_counts WHERE level = ? AND listing = ?"
            " AND (first_key, first_asset) > (?, ?) ORDER BY first_key, first_asset")) {}

  /// Where the stretch of the key begins; none when that cannot be read.
  std::optional<PlaceKey> reach(const PlaceKey& key) {
    constexpr int kNear = 16;
    for (int i = 0; i < kNear && isUnderWay_; ++i) {
      if (following_.failed()) return std::nullopt;
      if (key < next_) return first_;
      first_ = next_;
      goOn();
    }
    covering_.rewind();
    covering_.bind(level_, listing_, key.key, key.asset);
    if (!covering_.next()) return std::nullopt;
    first_ = {covering_.integer(0), covering_.integer(1)};
    following_.rewind();
    following_.bind(level_, listing_, first_.key, first_.asset);
    isUnderWay_ = true;
    goOn();
    if (following_.failed()) return std::nullopt;
    return first_;
  }

 private:
  void goOn() {
    next_ = following_.next() ? PlaceKey{following_.integer(0), following_.integer(1)}
                              : PlaceKey{kHighestKey, kHighestKey};
  }

  const std::int64_t level_;
  const std::int64_t listing_;
  Statement covering_;
  Statement following_;
  bool isUnderWay_ = false;
  PlaceKey first_;
  PlaceKey next_;
};

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

  struct Change {
    PlaceKey first;  ///< of a stretch
    TypeCounts counts;
  };

  bool count(std::span<const Place> places, PlaceLevel level) {
    const auto changes = changesOf(places, level);
    if (!changes) return false;
    Statement change = database_.prepare(
        "UPDATE place_counts SET others = others + ?, images = images + ?, videos = videos + ?,"
        " sounds = sounds + ? WHERE level = ? AND listing = ? AND first_key = ?"
        " AND first_asset = ?");
    for (const Change& each : *changes) {
      change.rewind();
      for (const std::int64_t number : each.counts.of) change.bind(number);
      change.bind(static_cast<std::int64_t>(level), places.front().listing, each.first.key,
                  each.first.asset);
      if (!change.run()) return false;
    }
    return true;
  }

  std::optional<std::vector<Change>> changesOf(std::span<const Place> places, PlaceLevel level) {
    std::vector<Change> changes;
    StretchWalk walk(database_, level, places.front().listing);
    for (const Place& place : places) {
      const auto first = walk.reach(place.key);
      if (!first) return std::nullopt;
      if (changes.empty() || changes.back().first != *first) changes.push_back({*first, {}});
      changes.back().counts.of[static_cast<std::size_t>(place.mediaType)] += isAddition_ ? 1 : -1;
    }
    return changes;
  }

  Database& database_;
  const bool isAddition_;
};

bool move(Database& database, const std::string& rows, bool isAddition) {
  ListedAssets listed;
  Places places;
  return gatherSmart(database, rows, listed, places) &&
         gatherAlbums(database, rows, listed, places) && Move(database, isAddition).run(places);
}

}  // namespace

bool removePlaces(Database& database, const std::string& rows) {
  return move(database, rows, false);
}

bool addPlaces(Database& database, const std::string& rows) {
  return move(database, rows, true);
}

}  // namespace quorvin
