#include "platform_linux/library/catalogue/schema.h"

#include <array>
#include <string>
#include <string_view>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/family_rows.h"
#include "platform_linux/library/catalogue/journal.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/places/place_schema.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

// Dates are nanoseconds since 1970, UTC. A trashed asset is deleted, yet can be restored. `visible`
// is false for those burst members that only a look at the whole burst shows; it is a column of its
// own, kept by triggers, because no index covers a generated one.
//
// Every listing with default options was answered by the indexes that follow, until version 5.
constexpr const char* kVersion1 = R"(
CREATE TABLE meta(
  key TEXT PRIMARY KEY NOT NULL,
  value NOT NULL
) WITHOUT ROWID;

CREATE TABLE assets(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  ident TEXT NOT NULL UNIQUE,
  media_type INTEGER NOT NULL CHECK (media_type BETWEEN 0 AND 3),
  subtypes INTEGER NOT NULL DEFAULT 0,
  width INTEGER NOT NULL DEFAULT 0 CHECK (width >= 0),
  height INTEGER NOT NULL DEFAULT 0 CHECK (height >= 0),
  duration REAL NOT NULL DEFAULT 0 CHECK (duration >= 0),
  created_ns INTEGER,
  modified_ns INTEGER,
  added_ns INTEGER NOT NULL DEFAULT 0,
  favorite INTEGER NOT NULL DEFAULT 0 CHECK (favorite IN (0, 1)),
  hidden INTEGER NOT NULL DEFAULT 0 CHECK (hidden IN (0, 1)),
  burst_id TEXT,
  burst_sel INTEGER NOT NULL DEFAULT 0,
  represents INTEGER NOT NULL DEFAULT 0 CHECK (represents IN (0, 1)),
  visible INTEGER NOT NULL DEFAULT 1 CHECK (visible IN (0, 1)),
  trashed_ns INTEGER,
  front_camera INTEGER NOT NULL DEFAULT 0 CHECK (front_camera IN (0, 1)),
  animated INTEGER NOT NULL DEFAULT 0 CHECK (animated IN (0, 1)),
  raw INTEGER NOT NULL DEFAULT 0 CHECK (raw IN (0, 1)),
  burst_primary INTEGER NOT NULL DEFAULT 0 CHECK (burst_primary IN (0, 1)),
  content_id TEXT,
  source_folder INTEGER
);

CREATE TRIGGER assets_inserted AFTER INSERT ON assets
WHEN NEW.visible <> (NEW.burst_id IS NULL OR NEW.represents OR (NEW.burst_sel & 2) <> 0)
BEGIN
  UPDATE assets SET visible = (burst_id IS NULL OR represents OR (burst_sel & 2) <> 0)
  WHERE id = NEW.id;
END;
CREATE TRIGGER assets_updated AFTER UPDATE OF burst_id, burst_sel, represents ON assets
WHEN NEW.visible <> (NEW.burst_id IS NULL OR NEW.represents OR (NEW.burst_sel & 2) <> 0)
BEGIN
  UPDATE assets SET visible = (burst_id IS NULL OR represents OR (burst_sel & 2) <> 0)
  WHERE id = NEW.id;
END;

CREATE TABLE resources(
  asset INTEGER NOT NULL REFERENCES assets(id) ON DELETE CASCADE,
  pos INTEGER NOT NULL,
  type INTEGER NOT NULL,
  name TEXT NOT NULL,
  uti TEXT NOT NULL,
  path TEXT NOT NULL UNIQUE,
  size INTEGER NOT NULL CHECK (size >= 0),
  hash BLOB NOT NULL,
  orientation INTEGER NOT NULL DEFAULT 1 CHECK (orientation BETWEEN 1 AND 8),
  PRIMARY KEY (asset, pos)
) WITHOUT ROWID;

CREATE TABLE collections(
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  ident TEXT NOT NULL UNIQUE,
  type INTEGER NOT NULL,
  subtype INTEGER NOT NULL,
  title TEXT,
  pos INTEGER NOT NULL DEFAULT 0
);

CREATE TABLE members(
  collection INTEGER NOT NULL REFERENCES collections(id) ON DELETE CASCADE,
  asset INTEGER NOT NULL REFERENCES assets(id) ON DELETE CASCADE,
  pos INTEGER NOT NULL,
  PRIMARY KEY (collection, asset)
) WITHOUT ROWID;

CREATE TABLE limited_selection(
  asset INTEGER PRIMARY KEY NOT NULL REFERENCES assets(id) ON DELETE CASCADE
) WITHOUT ROWID;

CREATE INDEX resources_by_content ON resources(size, hash);
CREATE INDEX resources_by_name ON resources(name COLLATE NOCASE);
CREATE INDEX collections_by_type ON collections(type, subtype, pos);
CREATE INDEX members_by_position ON members(collection, pos, asset);
CREATE INDEX members_by_asset ON members(asset);
CREATE INDEX assets_by_burst ON assets(burst_id) WHERE burst_id IS NOT NULL;
CREATE INDEX assets_by_content_id ON assets(content_id) WHERE content_id IS NOT NULL;

CREATE INDEX listed_by_addition ON assets(id, media_type, trashed_ns, hidden, visible)
  WHERE trashed_ns IS NULL AND hidden = 0 AND visible = 1;
CREATE INDEX listed_by_date ON assets(created_ns, id, media_type, trashed_ns, hidden, visible)
  WHERE trashed_ns IS NULL AND hidden = 0 AND visible = 1;
CREATE INDEX hidden_by_date ON assets(created_ns, id, media_type, trashed_ns, hidden, visible)
  WHERE hidden = 1;
CREATE INDEX listed_by_type ON assets(media_type, created_ns, id, trashed_ns, hidden, visible)
  WHERE trashed_ns IS NULL AND hidden = 0 AND visible = 1;
)";

// The smart albums of version 1, in the order of listings. `smart_albums.h` says the same for the
// present version; this stays as it is, for catalogues in the world were made by it.
struct PlantedAlbum {
  int subtype;
  const char* title;
  // Of its own index: the column that the condition looks at, and the condition. Null for albums
  // that one of the general indexes serves.
  const char* column;
  const char* condition;
};
constexpr std::array<PlantedAlbum, 15> kPlantedAlbums = {{
    {209, "Recents", nullptr, nullptr},
    {203, "Favorites", "favorite", "favorite = 1"},
    {202, "Videos", nullptr, nullptr},
    {210, "Selfies", "front_camera", "front_camera = 1"},
    {213, "Live Photos", "subtypes", "(subtypes & 8) <> 0"},
    {201, "Panoramas", "subtypes", "(subtypes & 1) <> 0"},
    {204, "Time-lapse", "subtypes", "(subtypes & 262144) <> 0"},
    {208, "Slo-mo", "subtypes", "(subtypes & 131072) <> 0"},
    {207, "Bursts", "burst_id", "burst_id IS NOT NULL"},
    {211, "Screenshots", "subtypes", "(subtypes & 4) <> 0"},
    {212, "Portrait", "subtypes", "(subtypes & 16) <> 0"},
    {220, "Screen Recordings", "subtypes", "(subtypes & 524288) <> 0"},
    {214, "Animated", "animated", "animated = 1"},
    {217, "RAW", "raw", "raw = 1"},
    {205, "Hidden", nullptr, nullptr},
}};

// An album's index is called `listed_` and the subtype.
std::string albumIndexStatements() {
  std::string statements;
  for (const PlantedAlbum& album : kPlantedAlbums) {
    if (album.column == nullptr) continue;
    statements += "CREATE INDEX listed_" + std::to_string(album.subtype) +
                  " ON assets(created_ns, id, media_type, trashed_ns, hidden, visible, " +
                  album.column + ") WHERE trashed_ns IS NULL AND hidden = 0 AND visible = 1 AND " +
                  album.condition + ";\n";
  }
  return statements;
}

bool plantSmartAlbums(Database& database) {
  int position = 0;
  for (const PlantedAlbum& album : kPlantedAlbums) {
    const std::string identifier = newCollectionIdentifier();
    Statement insert = database.prepare(
        "INSERT INTO collections(ident, type, subtype, title, pos) VALUES (?, 2, ?, ?, ?)");
    insert.bind(identifier, album.subtype, std::string_view(album.title), position++);
    if (!insert.run()) return false;
  }
  return true;
}

bool toVersion1(Database& database) {
  return database.execute(kVersion1) && database.execute(albumIndexStatements()) &&
         plantSmartAlbums(database) &&
         database.execute(
             "INSERT INTO meta(key, value) VALUES ('authorization', 0);"
             "PRAGMA application_id=" +
             std::to_string(kCatalogueApplicationId));
}

// How an original video plays that does not play as it is: which stretch of it takes how long, in
// the order of playing. Nanoseconds.
constexpr const char* kVersion2 = R"(
CREATE TABLE time_maps(
  asset INTEGER NOT NULL REFERENCES assets(id) ON DELETE CASCADE,
  pos INTEGER NOT NULL,
  source_start INTEGER NOT NULL CHECK (source_start >= 0),
  source_duration INTEGER NOT NULL CHECK (source_duration > 0),
  target_duration INTEGER NOT NULL CHECK (target_duration > 0),
  PRIMARY KEY (asset, pos)
) WITHOUT ROWID;
)";

bool toVersion2(Database& database) {
  return database.execute(kVersion2);
}

// Few assets are deleted at any time, so what waits for its end is found without a look at the
// rest.
constexpr const char* kVersion3 =
    "CREATE INDEX trashed_by_date ON assets(trashed_ns) WHERE trashed_ns IS NOT NULL";

bool toVersion3(Database& database) {
  return database.execute(kVersion3);
}

using Step = bool (*)(Database&);
// The step at index n brings a catalogue from version n to n + 1. Steps are never changed: a new
// version adds one.
constexpr std::array<Step, kSchemaVersion> kSteps = {toVersion1,  toVersion2, toVersion3,
                                                     makeJournal, makePlaces, makeFamilies};

}  // namespace

Result<CatalogueState> catalogueState(Database& database) {
  const auto application = database.integer("PRAGMA application_id");
  const auto version = database.integer("PRAGMA user_version");
  const auto tables = database.integer("SELECT count(*) FROM sqlite_schema");
  if (!application || !version || !tables) {
    return database.lastError("the catalogue cannot be read");
  }
  if (*application == 0 && *version == 0 && *tables == 0) return CatalogueState::empty;
  if (*application != kCatalogueApplicationId || *version < 1) return CatalogueState::foreign;
  if (*version > kSchemaVersion) return CatalogueState::newer;
  return *version == kSchemaVersion ? CatalogueState::current : CatalogueState::older;
}

Failure madeByLaterVersion(const LibraryFolder& folder) {
  return Failure(
      LibraryErrorCode::invalidResource,
      "the catalogue “" + folder.catalogue() + "” was made by a later version of this program.");
}

Done requirePresentVersion(Database& database, const LibraryFolder& folder) {
  const auto version = database.integer("PRAGMA user_version");
  if (!version) return database.lastError("the catalogue cannot be read");
  if (*version == kSchemaVersion) return Null{};
  if (*version > kSchemaVersion) return madeByLaterVersion(folder);
  return Failure(LibraryErrorCode::internal,
                 "the catalogue “" + folder.catalogue() + "” is not of the present version.");
}

Done migrate(Database& database, std::int64_t statusWhenEmpty) {
  const std::string failure = "the catalogue cannot be set up";
  // Stays with the file; it cannot be changed inside a transaction.
  if (!database.execute("PRAGMA journal_mode=WAL") || !database.execute("BEGIN IMMEDIATE")) {
    return database.lastError(failure);
  }
  const auto version = database.integer("PRAGMA user_version");
  bool done = version.has_value() && *version <= kSchemaVersion;
  for (auto step = version.value_or(0); done && step < kSchemaVersion; ++step) {
    done = kSteps[static_cast<std::size_t>(step)](database);
  }
  if (done && *version == 0) {
    Statement store = database.prepare("UPDATE meta SET value = ? WHERE key = 'authorization'");
    done = store.bind(statusWhenEmpty).run() && storeTrashClock(database, {presentTime(), 0});
  }
  done = done && database.execute("PRAGMA user_version=" + std::to_string(kSchemaVersion)) &&
         database.execute("COMMIT");
  if (done) return Null{};
  const Failure error = database.lastError(failure);
  database.execute("ROLLBACK");
  return error;
}

}  // namespace quorvin
