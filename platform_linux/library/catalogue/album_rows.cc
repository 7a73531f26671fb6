#include "platform_linux/library/catalogue/album_rows.h"

#include "platform_linux/library/database/sql_text.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

constexpr auto kAlbumWithTitle = sql("SELECT id FROM collections WHERE type = ") + kAlbumType +
                                 " AND subtype = " + kRegularAlbum +
                                 " AND title = ? ORDER BY pos, id LIMIT 1";
constexpr auto kInsertAlbum =
    sql("INSERT INTO collections(ident, type, subtype, title, pos) SELECT ?, ") + kAlbumType +
    ", " + kRegularAlbum +
    ", ?, coalesce(max(pos) + 1, 0) FROM collections WHERE type = " + kAlbumType;

}  // namespace

std::optional<std::int64_t> albumWithTitle(Database& database, const std::string& title) {
  {
    Statement find = database.prepare(kAlbumWithTitle);
    if (find.bind(title).next()) return find.integer(0);
    if (find.failed()) return std::nullopt;
  }
  return insertAlbum(database, newCollectionIdentifier(), title);
}

std::optional<std::int64_t> insertAlbum(Database& database, const std::string& identifier,
                                        const std::string& title) {
  Statement insert = database.prepare(kInsertAlbum);
  if (!insert.bind(identifier, title).run()) return std::nullopt;
  return database.lastInsertedRow();
}

bool addToAlbum(Database& database, std::int64_t album, std::int64_t asset) {
  Statement insert = database.prepare(
      "INSERT OR IGNORE INTO members(collection, asset, pos) SELECT ?1, ?2,"
      " coalesce((SELECT max(pos) + 1 FROM members WHERE collection = ?1), 0)");
  return insert.bind(album, asset).run();
}

}  // namespace quorvin
