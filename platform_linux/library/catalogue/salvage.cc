// A damaged page takes with it what is on it and below it. Rows are asked for by ranges of their
// keys, from both ends towards the damage; what is left between is halved until nothing is. A row
// that is lost in its table may still stand in an index: albums know their members by two of them,
// and the identifier of an asset, its marks and the time of its deletion stand in others.
#include "platform_linux/library/catalogue/salvage.h"

#include <algorithm>
#include <array>
#include <set>

#include "platform_linux/library/catalogue/burst_rows.h"
#include "platform_linux/library/catalogue/consistency.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/places/place_schema.h"

namespace quorvin {
namespace {

// More rows than any page of a catalogue has.
constexpr std::int64_t kMostRowsOfAPage = 400;
constexpr std::int64_t kMostRows = 50'000'000;

constexpr const char* kIsAsset = "length(ident) = 43 AND ident GLOB '*-*-*-*-*/L0/001'";
constexpr const char* kAssetColumnsOfAll =
    "id, ident, media_type, subtypes, width, height, duration, created_ns, modified_ns, added_ns,"
    " favorite, hidden, burst_id, burst_sel, represents, trashed_ns, front_camera, animated, raw,"
    " burst_primary, content_id, source_folder";
constexpr const char* kResourceColumns =
    "asset, pos, type, name, uti, path, size, hash, orientation";

struct Source {
  std::string columns;
  std::string from;   ///< table, index and condition
  std::string key;    ///< an integer, first in the order of the table or index
  std::string table;  ///< that receives the rows
};

class RangeReader {
 public:
  RangeReader(Database& from, Database& into, const Source& source)
      : from_(from),
        into_(into),
        select_("SELECT " + source.key + ", " + source.columns + " FROM " + source.from + " AND " +
                source.key + " BETWEEN ? AND ? ORDER BY " + source.key),
        columns_(1 + std::ranges::count(source.columns, ',')) {
    insert_ = "INSERT OR IGNORE INTO " + source.table + "(" + source.columns + ") VALUES (?";
    for (std::ptrdiff_t i = 1; i < columns_; ++i) insert_ += ", ?";
    insert_ += ")";
  }

  /// How many rows are new.
  std::int64_t read(std::int64_t first, std::int64_t last) {
    if (first > last) return 0;
    std::int64_t reached = first;
    if (scan(first, last, "", reached)) return added_;
    std::int64_t reachedBack = last;
    if (scan(reached, last, " DESC", reachedBack)) return added_;
    if (reached >= reachedBack) return added_;
    const std::int64_t middle = reached + (reachedBack - reached) / 2;
    read(reached, middle);
    read(middle + 1, reachedBack);
    return added_;
  }

 private:
  /// False when something in the range could not be read.
  bool scan(std::int64_t first, std::int64_t last, const char* order, std::int64_t& reached) {
    Statement rows = from_.prepare(select_ + order);
    rows.bind(first, last);
    while (rows.next()) {
      reached = rows.integer(0);
      Statement insert = into_.prepare(insert_);
      for (int i = 1; i <= columns_; ++i) insert.bindColumn(rows, i);
      if (insert.run()) added_ += into_.changedRows();
    }
    return !rows.failed();
  }

  Database& from_;
  Database& into_;
  const std::string select_;
  const std::ptrdiff_t columns_;
  std::string insert_;
  std::int64_t added_ = 0;
};

std::int64_t salvageTable(Database& from, Database& into, const Source& source, std::int64_t last) {
  return RangeReader(from, into, source).read(0, last);
}

// Beyond the last asset there may ever have been.
std::int64_t lastRow(Database& from, const char* table) {
  std::int64_t last = 0;
  const std::string name = table;
  const auto ask = [&from, &last](const std::string& sql) {
    last = std::max(last, from.integer(sql).value_or(0));
  };
  ask("SELECT max(id) FROM " + name);
  ask("SELECT seq FROM sqlite_sequence WHERE name = '" + name + "'");
  if (name == "assets") ask("SELECT max(asset) FROM resources");
  if (last <= 0) last = from.integer("PRAGMA page_count").value_or(0) * kMostRowsOfAPage;
  return std::min(last, kMostRows);
}

// Every identifier with its row, and the marks, as far as indexes tell them.
void salvageIndexes(Database& from, Database& into) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  for (const char high : kDigits) {
    for (const char low : kDigits) {
      const std::string prefix = {high, low};
      for (const char* order : {"", " DESC"}) {
        Statement rows = from.prepare(
            std::string("SELECT id, ident FROM assets INDEXED BY sqlite_autoindex_assets_1"
                        " WHERE ident >= ?1 AND ident < ?1 || 'G' ORDER BY ident") +
            order);
        rows.bind(prefix);
        while (rows.next()) {
          Statement note =
              into.prepare("INSERT OR IGNORE INTO temp.known(id, ident) VALUES (?, ?)");
          note.bindColumn(rows, 0).bindColumn(rows, 1).run();
        }
        if (!rows.failed()) break;
      }
    }
  }
  struct Mark {
    const char* select;
    const char* store;
  };
  constexpr std::array<Mark, 4> kMarks = {{
      {"SELECT asset, 1 FROM places WHERE listing = -406 ORDER BY media_type",
       "INSERT INTO temp.marks(id, favorite) VALUES (?, ?)"},
      // The same in catalogues of earlier versions.
      {"SELECT id, favorite FROM assets INDEXED BY listed_203 WHERE trashed_ns IS NULL AND"
       " hidden = 0 AND visible = 1 AND favorite = 1 ORDER BY created_ns",
       "INSERT INTO temp.marks(id, favorite) VALUES (?, ?)"},
      {"SELECT id, hidden FROM assets INDEXED BY hidden_by_date WHERE hidden = 1"
       " ORDER BY created_ns",
       "INSERT INTO temp.marks(id, hidden) VALUES (?, ?)"},
      {"SELECT id, trashed_ns FROM assets INDEXED BY trashed_by_date WHERE trashed_ns IS NOT NULL"
       " ORDER BY trashed_ns",
       "INSERT INTO temp.marks(id, trashed_ns) VALUES (?, ?)"},
  }};
  for (const Mark& mark : kMarks) {
    for (const char* order : {"", " DESC"}) {
      Statement rows = from.prepare(std::string(mark.select) + order);
      while (rows.next()) {
        Statement note = into.prepare(mark.store);
        note.bindColumn(rows, 0).bindColumn(rows, 1).run();
      }
      if (!rows.failed()) break;
    }
  }
}

std::int64_t salvageMembers(Database& from, Database& into) {
  std::set<std::int64_t> albums;
  Statement rows = into.prepare("SELECT id FROM collections WHERE id > 0 AND type = 1");
  while (rows.next()) albums.insert(rows.integer(0));
  const std::int64_t assets = lastRow(from, "assets");
  std::int64_t added = 0;
  for (const std::int64_t album : albums) {
    const std::string only = " WHERE collection = " + std::to_string(album);
    const std::string columns = "collection, asset, pos";
    added += salvageTable(from, into, {columns, "members" + only, "asset", "members"}, assets);
    added += salvageTable(
        from, into, {columns, "members INDEXED BY members_by_position" + only, "pos", "members"},
        assets);
  }
  return added;
}

// Of a copy: what went since does not come back.
std::int64_t dropWithoutOriginal(Database& into,
                                 const std::function<bool(const std::string& path)>& isThere,
                                 std::int64_t& originals) {
  std::set<std::int64_t> present;
  {
    Statement rows = into.prepare(
        "SELECT asset, path FROM resources WHERE asset IN (SELECT id FROM temp.copied)");
    while (rows.next()) {
      if (isThere(std::string(rows.text(1)))) present.insert(rows.integer(0));
    }
  }
  std::vector<std::int64_t> gone;
  {
    Statement rows =
        into.prepare("SELECT id FROM temp.copied WHERE id NOT IN (SELECT id FROM temp.known)");
    while (rows.next()) {
      if (!present.contains(rows.integer(0))) gone.push_back(rows.integer(0));
    }
  }
  const std::string list = listOfRows(gone);
  into.prepare("DELETE FROM resources WHERE asset IN (SELECT value FROM json_each(?))")
      .bind(list)
      .run();
  originals -= into.changedRows();
  into.prepare("DELETE FROM assets WHERE id IN (SELECT value FROM json_each(?))").bind(list).run();
  return into.changedRows();
}

}  // namespace

bool beginSalvage(Database& into) {
  into.setTriggers(false);
  return into.execute(
      "PRAGMA foreign_keys=OFF;"
      "CREATE TEMP TABLE known(id INTEGER PRIMARY KEY, ident TEXT UNIQUE);"
      "CREATE TEMP TABLE marks(id INTEGER, favorite INTEGER, hidden INTEGER, trashed_ns INTEGER);"
      "CREATE TEMP TABLE copied(id INTEGER PRIMARY KEY);"
      "BEGIN IMMEDIATE; UPDATE collections SET id = -id");
}

bool showsTables(Database& from) {
  const auto tables = from.integer(
      "SELECT count(*) FROM sqlite_schema WHERE type = 'table' AND name IN"
      " ('assets', 'resources', 'collections', 'members')");
  return tables == 4;
}

SalvagedRows salvageRows(Database& from, Database& into,
                         const std::function<bool(const std::string& path)>& isThere) {
  SalvagedRows rows;
  const std::int64_t assets = lastRow(from, "assets");
  if (isThere)
    into.execute("DELETE FROM temp.copied; INSERT INTO temp.copied SELECT id FROM assets");
  rows.assets = salvageTable(
      from, into,
      {kAssetColumnsOfAll, std::string("assets NOT INDEXED WHERE ") + kIsAsset, "id", "assets"},
      assets);
  rows.originals =
      salvageTable(from, into,
                   {kResourceColumns, "resources WHERE path GLOB '[0-9A-F][0-9A-F]/*-*-*-*-*'",
                    "asset", "resources"},
                   assets);
  if (isThere) {
    into.execute(
        "CREATE TEMP TABLE new AS SELECT id FROM assets WHERE id NOT IN (SELECT id FROM copied);"
        "DELETE FROM copied; INSERT INTO copied SELECT id FROM new; DROP TABLE new");
    rows.assets -= dropWithoutOriginal(into, isThere, rows.originals);
  } else {
    salvageIndexes(from, into);
  }
  const std::int64_t collections = lastRow(from, "collections");
  const std::string columns = "id, ident, type, subtype, title, pos";
  const std::string isCollection = "length(ident) = 43 AND ident GLOB '*-*-*-*-*/L0/040'";
  for (const bool isAlbum : {false, true}) {
    const std::string which = isAlbum ? " AND type = 1" : " AND type <> 1";
    const auto added = salvageTable(
        from, into,
        {columns, "collections NOT INDEXED WHERE " + isCollection + which, "id", "collections"},
        collections);
    if (isAlbum) rows.albums = added;
  }
  rows.members = salvageMembers(from, into);
  salvageTable(from, into,
               {"asset, pos, source_start, source_duration, target_duration",
                "time_maps WHERE asset > 0", "asset", "time_maps"},
               assets);
  salvageTable(from, into,
               {"asset", "limited_selection WHERE asset > 0", "asset", "limited_selection"},
               assets);
  return rows;
}

std::vector<LostAsset> lostAssets(Database& into) {
  std::vector<LostAsset> lost;
  Statement rows = into.prepare(
      "SELECT r.asset, coalesce(k.ident, ''), r.path FROM resources AS r"
      " LEFT JOIN temp.known AS k ON k.id = r.asset"
      " WHERE r.asset NOT IN (SELECT id FROM assets)"
      " UNION ALL SELECT k.id, k.ident, '' FROM temp.known AS k"
      " WHERE k.ident IS NOT NULL AND k.id NOT IN (SELECT id FROM assets)"
      " AND k.ident NOT IN (SELECT ident FROM assets)"
      " AND k.id NOT IN (SELECT asset FROM resources) ORDER BY 1");
  while (rows.next()) {
    if (lost.empty() || lost.back().row != rows.integer(0)) {
      lost.push_back({rows.integer(0), std::string(rows.text(1)), {}});
    }
    if (!rows.text(2).empty()) lost.back().paths.emplace_back(rows.text(2));
  }
  return lost;
}

bool reserveRows(Database& into) {
  return into.execute(
      "INSERT OR IGNORE INTO temp.known(id, ident)"
      " SELECT max(asset), NULL FROM resources WHERE asset NOT IN (SELECT id FROM assets);"
      "UPDATE sqlite_sequence SET seq = max(seq, coalesce((SELECT max(id) FROM temp.known), 0))"
      " WHERE name = 'assets';"
      "INSERT INTO sqlite_sequence(name, seq)"
      " SELECT 'assets', coalesce((SELECT max(id) FROM temp.known), 0)"
      " WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = 'assets')");
}

bool putBack(Database& into, std::int64_t madeAs, std::int64_t row) {
  for (const char* statement : {"UPDATE resources SET asset = ?2 WHERE asset = ?1",
                                "UPDATE time_maps SET asset = ?2 WHERE asset = ?1",
                                "UPDATE assets SET id = ?2 WHERE id = ?1"}) {
    if (!into.prepare(statement).bind(madeAs, row).run()) return false;
  }
  return into
      .prepare(
          "UPDATE assets SET"
          " favorite = coalesce((SELECT max(favorite) FROM temp.marks WHERE id = ?1), 0) > 0,"
          " hidden = coalesce((SELECT max(hidden) FROM temp.marks WHERE id = ?1), 0) > 0,"
          " trashed_ns = (SELECT max(trashed_ns) FROM temp.marks WHERE id = ?1) WHERE id = ?1")
      .bind(row)
      .run();
}

std::optional<std::int64_t> assetRow(Database& into, const std::string& identifier) {
  Statement find = into.prepare("SELECT id FROM assets WHERE ident = ?");
  return find.bind(identifier).next() ? std::optional(find.integer(0)) : std::nullopt;
}

std::optional<std::int64_t> finishSalvage(Database& into, std::int64_t status) {
  bool done = into.execute(
      "DELETE FROM collections WHERE id < 0 AND subtype IN"
      " (SELECT subtype FROM collections WHERE id > 0 AND type = 2);"
      "UPDATE collections SET id = (SELECT max(0, max(id)) FROM collections) - id WHERE id < 0;"
      "DELETE FROM assets WHERE id NOT IN (SELECT asset FROM resources)");
  std::int64_t given = into.changedRows();
  for (const char* table : {"resources", "members", "limited_selection", "time_maps", "families"}) {
    done = done && dropDanglingRows(into, table);
    given += done ? into.changedRows() : 0;
  }
  for (const WrongBurst& burst : wrongBursts(into)) {
    done = done && settleBurst(into, burst.identifier, BurstChoice::anew);
  }
  for (const std::string& live : livePhotosWithoutVideo(into)) {
    done = done && markAsLivePhoto(into, live, false);
  }
  for (const std::string& live : videosWithoutLivePhoto(into)) {
    done = done && markAsLivePhoto(into, live, true);
  }
  Statement store = into.prepare("UPDATE meta SET value = ? WHERE key = 'authorization'");
  done = done && settleListings(into) && fillFamilies(into) && store.bind(status).run() &&
         rebuildPlaces(into) && into.execute("DELETE FROM journal; COMMIT");
  if (!done) return std::nullopt;
  return given;
}

std::optional<std::int64_t> statusIn(Database& copy) {
  const auto status = copy.integer("SELECT value FROM meta WHERE key = 'authorization'");
  if (!status || *status < 0 || *status > 4) return std::nullopt;
  return status;
}

}  // namespace quorvin
