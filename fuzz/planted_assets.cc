#include "fuzz/planted_assets.h"

#include <algorithm>
#include <compare>
#include <memory>
#include <random>
#include <variant>

#include "fuzz/require.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/places/smart_albums.h"
#include "platform_linux/library/values/asset_date.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

constexpr int kRows = 120;

PlantedRow anyRow(std::mt19937& random) {
  const auto below = [&random](unsigned limit) {
    return static_cast<std::int64_t>(random() % limit);
  };
  const auto moment = [&]() -> std::optional<std::int64_t> {
    if (below(5) == 0) return std::nullopt;
    return (below(12) - 3) * 1'000'000'000;
  };
  PlantedRow row;
  PHAsset& asset = row.asset;
  asset.localIdentifier = newAssetIdentifier();
  asset.mediaType = static_cast<PHAssetMediaType>(below(4));
  constexpr std::uint64_t kSubtypes[] = {0, 1, 2, 4, 8, 9, 16, 1 << 17, 1 << 18, 1 << 19};
  asset.mediaSubtypes = kSubtypes[below(std::size(kSubtypes))];
  asset.pixelWidth = below(9);
  asset.pixelHeight = below(9);
  asset.duration = static_cast<double>(below(10)) / 2;
  asset.isFavorite = below(3) == 0;
  asset.isHidden = below(5) == 0;
  if (below(3) == 0) {
    asset.burstIdentifier = below(2) == 0 ? "burst" : "another";
    asset.representsBurst = below(3) == 0;
    asset.burstSelectionTypes = static_cast<std::uint64_t>(below(4));
  }
  row.created = moment();
  row.modified = moment();
  row.trashed = below(6) == 0;
  row.limited = below(2) == 0;
  return row;
}

void insert(Database& database, PlantedRow& row, std::mt19937& random) {
  const PHAsset& asset = row.asset;
  const auto flag = [&random] { return static_cast<std::int64_t>(random() % 2); };
  Statement insertion = database.prepare(
      "INSERT INTO assets(ident, media_type, subtypes, width, height, duration, created_ns,"
      " modified_ns, favorite, hidden, burst_id, represents, burst_sel, trashed_ns, front_camera,"
      " animated, raw) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  insertion.bind(
      asset.localIdentifier, static_cast<std::int64_t>(asset.mediaType),
      static_cast<std::int64_t>(asset.mediaSubtypes), asset.pixelWidth, asset.pixelHeight,
      asset.duration, row.created, row.modified, std::int64_t{asset.isFavorite},
      std::int64_t{asset.isHidden}, asset.burstIdentifier, std::int64_t{asset.representsBurst},
      static_cast<std::int64_t>(asset.burstSelectionTypes),
      row.trashed ? std::optional<std::int64_t>(1) : std::nullopt, flag(), flag(), flag());
  require(insertion.run(), "a row is planted");
  row.id = database.lastInsertedRow();
}

/// Read without any index, by the album's words alone.
void noteSmartAlbums(Database& database, PlantedRow& row) {
  for (const SmartAlbum& album : kSmartAlbums) {
    std::string sql = "SELECT count(*) FROM assets AS a NOT INDEXED WHERE a.id = ?";
    if (!album.condition.empty()) sql += " AND (" + std::string(album.condition) + ")";
    Statement count = database.prepare(sql);
    require(count.bind(row.id).next(), "a row is counted");
    row.isInSmart[album.subtype] = count.integer(0) == 1;
  }
}

void addToAlbum(Database& database, PlantedRow& row, std::int64_t album, std::int64_t place) {
  // Two share a place: their ids settle it.
  row.albumPlace = place / 2;
  require(database.prepare("INSERT INTO members VALUES (?, ?, ?)")
              .bind(album, row.id, *row.albumPlace)
              .run(),
          "a row joins the album");
}

std::variant<double, std::string, std::monostate> keyOf(const PlantedRow& row,
                                                        std::string_view key) {
  const PHAsset& asset = row.asset;
  const auto moment = [](const std::optional<std::int64_t>& time) {
    return time ? static_cast<double>(*time) : -1e300;
  };
  if (key == "creationDate") return moment(row.created);
  if (key == "modificationDate") return moment(row.modified);
  if (key == "SELF" || key == "localIdentifier") return asset.localIdentifier;
  if (key == "burstIdentifier") return asset.burstIdentifier.value_or("");
  if (key == "mediaType") return static_cast<double>(asset.mediaType);
  if (key == "mediaSubtypes") return static_cast<double>(asset.mediaSubtypes);
  if (key == "pixelWidth") return static_cast<double>(asset.pixelWidth);
  if (key == "pixelHeight") return static_cast<double>(asset.pixelHeight);
  if (key == "duration") return asset.duration;
  if (key == "isFavorite" || key == "favorite") return asset.isFavorite ? 1.0 : 0.0;
  require(key == "isHidden" || key == "hidden", "the key is known");
  return asset.isHidden ? 1.0 : 0.0;
}

double numberOf(const PlantedRow& row, std::string_view column) {
  const PHAsset& asset = row.asset;
  if (column == "media_type") return static_cast<double>(asset.mediaType);
  if (column == "subtypes") return static_cast<double>(asset.mediaSubtypes);
  if (column == "width") return static_cast<double>(asset.pixelWidth);
  if (column == "height") return static_cast<double>(asset.pixelHeight);
  if (column == "duration") return asset.duration;
  if (column == "favorite") return asset.isFavorite ? 1 : 0;
  require(column == "hidden", "the column is known");
  return asset.isHidden ? 1 : 0;
}

}  // namespace

bool PlantedRow::isListed() const {
  constexpr std::uint64_t kUserPick = 2;
  return !asset.burstIdentifier || asset.representsBurst ||
         (asset.burstSelectionTypes & kUserPick) != 0;
}

bool PlantedRow::fulfils(const Condition& condition) const {
  const auto holds = [this](const Condition& part) { return fulfils(part); };
  switch (condition.kind) {
    case Condition::Kind::conjunction:
      return std::ranges::all_of(condition.parts, holds);
    case Condition::Kind::disjunction:
      return std::ranges::any_of(condition.parts, holds);
    case Condition::Kind::negation:
      return !fulfils(condition.parts.front());
    case Condition::Kind::comparison:
      break;
  }
  // All planted numbers are small, so that rounding another one does not change the answer.
  const double number = numberOf(*this, condition.column);
  const auto value = static_cast<double>(condition.value);
  if (condition.op == "=") return number == value;
  if (condition.op == "<>") return number != value;
  if (condition.op == "<") return number < value;
  if (condition.op == "<=") return number <= value;
  if (condition.op == ">") return number > value;
  require(condition.op == ">=", "the comparison is known");
  return number >= value;
}

PlantedCatalogue plantCatalogue(const std::string& path) {
  PlantedCatalogue planted;
  require(static_cast<bool>(Library::open({.path = path})), "there is a library");
  const auto database = Database::open(path + "/library.sqlite", Database::Use::write);
  require(static_cast<bool>(database), "there is a catalogue");
  planted.album = newCollectionIdentifier();
  require((*database)
              ->prepare("INSERT INTO collections(ident, type, subtype, title) "
                        "VALUES (?, 1, 2, 'Trip')")
              .bind(planted.album)
              .run(),
          "there is an album");
  const std::int64_t album = (*database)->lastInsertedRow();
  std::mt19937 random(20240229);
  for (int i = 0; i < kRows; ++i) {
    PlantedRow& row = planted.rows.emplace_back(anyRow(random));
    insert(**database, row, random);
    noteSmartAlbums(**database, row);
    if (random() % 2 == 0) addToAlbum(**database, row, album, kRows - i);
    if (!row.limited) continue;
    require((*database)->prepare("INSERT INTO limited_selection VALUES (?)").bind(row.id).run(),
            "a row is selected");
  }
  return planted;
}

void sortRows(std::vector<const PlantedRow*>& rows, const std::vector<NSSortDescriptor>& keys) {
  std::ranges::sort(rows, [&keys](const PlantedRow* a, const PlantedRow* b) {
    for (const NSSortDescriptor& each : keys) {
      const auto x = keyOf(*a, each.key);
      const auto y = keyOf(*b, each.key);
      if (x != y) return each.ascending ? x < y : y < x;
    }
    return keys.back().ascending ? a->id < b->id : b->id < a->id;
  });
}

}  // namespace quorvin
