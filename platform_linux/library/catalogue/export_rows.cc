#include "platform_linux/library/catalogue/export_rows.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "platform_linux/library/catalogue/album_rows.h"

namespace quorvin {
namespace {

constexpr int kAssetsAtATime = 256;

// The condition by which assets are chosen; the title is bound twice.
#define QUORVIN_LEAVING                                                         \
  "trashed_ns IS NULL AND (? IS NULL OR id IN (SELECT asset FROM members WHERE" \
  " collection IN (SELECT id FROM collections WHERE type = 1 AND title = ?)))"

bool readResources(Database& database, LeavingAsset& asset) {
  Statement rows = database.prepare(
      "SELECT type, name, path, size, hash FROM resources WHERE asset = ? ORDER BY pos");
  rows.bind(asset.row);
  while (rows.next()) {
    asset.resources.push_back({rows.integer(0), std::string(rows.text(1)),
                               std::string(rows.text(2)), rows.integer(3),
                               std::string(rows.blob(4))});
  }
  return !rows.failed();
}

bool readAlbums(Database& database, LeavingAsset& asset) {
  Statement rows = database.prepare(
      "SELECT collections.id FROM members JOIN collections ON collections.id = members.collection"
      " WHERE members.asset = ? AND collections.type = 1 ORDER BY collections.pos, collections.id");
  rows.bind(asset.row);
  while (rows.next()) asset.albums.push_back(rows.integer(0));
  return !rows.failed();
}

}  // namespace

std::optional<std::vector<AlbumRow>> userAlbums(Database& database) {
  std::vector<AlbumRow> albums;
  Statement rows =
      database.prepare("SELECT id, title FROM collections WHERE type = 1 ORDER BY pos, id");
  while (rows.next()) albums.push_back({rows.integer(0), std::string(rows.text(1))});
  if (rows.failed()) return std::nullopt;
  return albums;
}

std::optional<std::vector<std::string>> membersOf(Database& database, std::int64_t album) {
  std::vector<std::string> members;
  Statement rows = database.prepare(
      "SELECT assets.ident FROM members JOIN assets ON assets.id = members.asset"
      " WHERE members.collection = ? AND assets.trashed_ns IS NULL ORDER BY members.pos, "
      "assets.id");
  rows.bind(album);
  while (rows.next()) members.emplace_back(rows.text(0));
  if (rows.failed()) return std::nullopt;
  return members;
}

std::optional<std::int64_t> assetWithFile(Database& database, std::int64_t size,
                                          const std::string& hash) {
  Statement find = database.prepare(
      "SELECT resources.asset FROM resources JOIN assets ON assets.id = resources.asset"
      " WHERE size = ? AND hash = ? AND trashed_ns IS NULL ORDER BY resources.asset LIMIT 1");
  find.bind(size, Blob{hash});
  if (!find.next()) return std::nullopt;
  return find.integer(0);
}

bool setMembers(Database& database, std::int64_t album, std::vector<std::int64_t> assets,
                OtherMembers others) {
  if (others == OtherMembers::stay) {
    const std::set<std::int64_t> placed(assets.begin(), assets.end());
    Statement there =
        database.prepare("SELECT asset FROM members WHERE collection = ? ORDER BY pos, asset");
    there.bind(album);
    while (there.next()) {
      const std::int64_t asset = there.integer(0);
      if (!placed.contains(asset)) assets.push_back(asset);
    }
    if (there.failed()) return false;
  }
  if (!database.prepare("DELETE FROM members WHERE collection = ?").bind(album).run()) return false;
  return std::ranges::all_of(
      assets, [&](std::int64_t asset) { return addToAlbum(database, album, asset); });
}

std::optional<std::vector<LeavingAsset>> leavingAssetsAfter(
    Database& database, std::int64_t row, const std::optional<std::string>& album) {
  std::vector<LeavingAsset> assets;
  Statement rows = database.prepare(
      "SELECT id, ident, created_ns, modified_ns, favorite, hidden, burst_id, burst_primary,"
      " represents, burst_sel FROM assets WHERE " QUORVIN_LEAVING
      " AND id > ? ORDER BY id LIMIT ?");
  rows.bind(album, album, row, kAssetsAtATime);
  while (rows.next()) {
    LeavingAsset asset;
    asset.row = rows.integer(0);
    asset.identifier = rows.text(1);
    asset.created = rows.optionalInteger(2);
    asset.modified = rows.optionalInteger(3);
    asset.favorite = rows.integer(4) != 0;
    asset.hidden = rows.integer(5) != 0;
    asset.burst = rows.text(6);
    asset.burstPrimary = rows.integer(7) != 0;
    asset.represents = rows.integer(8) != 0;
    asset.burstSelection = static_cast<std::uint64_t>(rows.integer(9));
    assets.push_back(std::move(asset));
  }
  if (rows.failed()) return std::nullopt;
  for (LeavingAsset& asset : assets) {
    if (!readResources(database, asset) || !readAlbums(database, asset)) return std::nullopt;
  }
  return assets;
}

std::optional<std::int64_t> countLeavingAssets(Database& database,
                                               const std::optional<std::string>& album) {
  Statement count = database.prepare("SELECT count(*) FROM assets WHERE " QUORVIN_LEAVING);
  count.bind(album, album);
  if (!count.next()) return std::nullopt;
  return count.integer(0);
}

#undef QUORVIN_LEAVING

}  // namespace quorvin
