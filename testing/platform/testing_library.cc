#include "testing/platform/testing_library.h"

#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "platform_linux/library/values/identifiers.h"

namespace quorvin {

Gardener::Gardener(const std::string& library) {
  if (sqlite3_open((library + "/library.sqlite").c_str(), &connection_) != SQLITE_OK) std::abort();
  sqlite3_busy_timeout(connection_, 5000);
  run("PRAGMA foreign_keys=ON; PRAGMA synchronous=OFF");
}

Gardener::~Gardener() {
  // The last one to close would put the log into the file: that is the library's to do.
  sqlite3_db_config(connection_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_close(connection_);
}

void Gardener::run(const std::string& sql) {
  char* message = nullptr;
  if (sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
    std::fprintf(stderr, "%s: %s\n", message, sql.c_str());
    std::abort();
  }
}

std::string Gardener::text(const std::string& sql) {
  std::string result;
  const auto row = [](void* into, int columns, char** values, char**) {
    for (int i = 0; i < columns; ++i) {
      *static_cast<std::string*>(into) += values[i] == nullptr ? "NULL" : values[i];
    }
    return 0;
  };
  sqlite3_exec(connection_, sql.c_str(), row, &result, nullptr);
  return result;
}

std::string Gardener::plant(const PlantedAsset& asset) {
  const std::string identifier = newAssetIdentifier();
  const auto number = [](std::int64_t value) { return std::to_string(value); };
  const auto flag = [](bool value) { return value ? "1" : "0"; };
  run("INSERT INTO assets(ident, media_type, created_ns, subtypes, favorite, hidden, burst_id,"
      " represents, burst_sel, front_camera, animated, raw, width, height) VALUES ('" +
      identifier + "', " + number(asset.mediaType) + ", " +
      (asset.created ? number(*asset.created) : "NULL") + ", " + number(asset.subtypes) + ", " +
      flag(asset.favorite) + ", " + flag(asset.hidden) + ", " +
      (asset.burst ? "'" + *asset.burst + "'" : "NULL") + ", " + flag(asset.represents) + ", " +
      number(asset.burstSelection) + ", " + flag(asset.frontCamera) + ", " + flag(asset.animated) +
      ", " + flag(asset.raw) + ", 40, 30)");
  return identifier;
}

std::string Gardener::plantAlbum(const std::string& title, std::int64_t subtype) {
  const std::string identifier = newCollectionIdentifier();
  run("INSERT INTO collections(ident, type, subtype, title, pos) VALUES ('" + identifier +
      "', 1, " + std::to_string(subtype) + ", '" + title +
      "', (SELECT count(*) FROM collections))");
  return identifier;
}

void Gardener::addToAlbum(const std::string& album, const std::string& asset) {
  run("INSERT INTO members SELECT c.id, a.id, (SELECT count(*) FROM members) FROM collections c,"
      " assets a WHERE c.ident = '" +
      album + "' AND a.ident = '" + asset + "'");
}

void Gardener::makeFirstVersion() {
  for (const char* trigger :
       {"asset_made", "asset_changed", "asset_dropped", "selected", "deselected", "collection_made",
        "collection_named", "collection_dropped", "member_added", "member_removed"}) {
    run(std::string("DROP TRIGGER journal_") + trigger);
  }
  for (const char* trigger :
       {"new_asset", "changed_asset", "gone_asset", "new_member", "moved_member", "gone_member"}) {
    run(std::string("DROP TRIGGER places_of_") + trigger);
  }
  run("DROP TABLE families; DROP TABLE places; DROP TABLE place_counts;"
      "DROP TABLE journal; DROP TABLE time_maps; DROP INDEX trashed_by_date;"
      "PRAGMA user_version = 1");
}

std::unique_ptr<Library> TestLibrary::open(std::optional<PHAuthorizationStatus> status) const {
  auto opened = Library::open({.path = folder / "library", .authorization = status});
  if (!opened) std::fprintf(stderr, "%s\n", opened.error().sentence().c_str());
  return opened ? *std::move(opened) : nullptr;
}

std::shared_ptr<const PHAssetCollection> TestLibrary::smart(std::int64_t subtype) {
  return library->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, subtype, nullptr)
      ->firstObject();
}

std::vector<std::string> TestLibrary::list(const PHAssetCollection& album,
                                           const PHFetchOptions& options) {
  return identifiersOf(*library->fetchAssetsInAssetCollection(album, &options));
}

std::vector<std::string> TestLibrary::identifiersOf(const PHFetchResult<PHAsset>& result) {
  std::vector<std::string> identifiers;
  result.enumerateObjectsUsingBlock(
      [&identifiers](const PHAsset& asset) { identifiers.push_back(asset.localIdentifier); });
  return identifiers;
}

PHFetchOptions byDate(bool ascending, std::size_t limit) {
  PHFetchOptions options;
  options.sortDescriptors = {{"creationDate", ascending}};
  options.fetchLimit = limit;
  return options;
}

PHFetchOptions ofType(std::int32_t mediaType) {
  PHFetchOptions options;
  options.predicate = NSPredicate{"mediaType = %d", {mediaType}};
  return options;
}

}  // namespace quorvin
