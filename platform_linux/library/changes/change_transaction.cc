#include "platform_linux/library/changes/change_transaction.h"

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/database/sql_text.h"

namespace quorvin {
namespace {

constexpr auto kAlbumByIdentifier = sql("SELECT id, type = ") + kAlbumType +
                                    " AND subtype = " + kRegularAlbum +
                                    " FROM collections WHERE ident = ?";

}  // namespace

void appendRows(Database& database, const DeleteAssets& request, std::vector<std::int64_t>& rows) {
  rows.insert(rows.end(), request.rows.begin(), request.rows.end());
  if (request.identifiers.empty()) return;
  Statement find = database.prepare("SELECT id FROM assets WHERE ident = ?");
  for (const std::string& identifier : request.identifiers) {
    find.rewind();
    if (find.bind(identifier).next()) rows.push_back(find.integer(0));
  }
}

Failure ChangeTransaction::failure() const {
  return database_.lastError("the change cannot be stored");
}

Done ChangeTransaction::accessToAlbums() const {
  if (!isLimited_) return Null{};
  return Failure(LibraryErrorCode::accessUserDenied,
                 "albums cannot be changed while access is limited to a selection of assets.");
}

Done ChangeTransaction::createAsset(const NewAsset& asset, const OriginalCopy& main,
                                    const std::optional<OriginalCopy>& pairedVideo) {
  const auto row = insertAsset(database_, asset);
  if (!row || !insertResource(database_, *row, main.resource)) return failure();
  if (pairedVideo && !insertPairedVideo(database_, *row, pairedVideo->resource)) return failure();
  if (isLimited_) {
    // What an application adds itself it may see.
    Statement select = database_.prepare("INSERT INTO limited_selection(asset) VALUES (?)");
    if (!select.bind(*row).run()) return failure();
  }
  return Null{};
}

Done ChangeTransaction::deleteAssets(const DeleteAssets& request) {
  std::vector<std::int64_t> rows;
  appendRows(database_, request, rows);
  const std::string list = listOfRows(rows);
  if (isLimited_) {
    Statement outside = database_.prepare(
        "SELECT a.ident FROM assets AS a WHERE a.id IN (SELECT value FROM json_each(?))"
        " AND a.trashed_ns IS NULL AND a.id NOT IN (SELECT asset FROM limited_selection) LIMIT 1");
    if (outside.bind(list).next()) {
      return Failure(LibraryErrorCode::accessUserDenied,
                     "access to the asset “" + std::string(outside.text(0)) +
                         "” is not granted, so it cannot be deleted.");
    }
    if (outside.failed()) return failure();
  }
  return trashAssets(database_, list) ? Done(Null{}) : failure();
}

Done ChangeTransaction::createAlbum(const CreateAlbum& request) {
  if (Done access = accessToAlbums(); !access) return access;
  return insertAlbum(database_, request.identifier, request.title) ? Done(Null{}) : failure();
}

Done ChangeTransaction::addToAlbum(const AddToAlbum& request) {
  if (Done access = accessToAlbums(); !access) return access;
  std::int64_t album = 0;
  {
    Statement find = database_.prepare(kAlbumByIdentifier);
    if (!find.bind(request.album).next()) {
      if (find.failed()) return failure();
      return Failure(LibraryErrorCode::identifierNotFound,
                     "the album “" + request.album + "” is not in the library any more.");
    }
    if (find.integer(1) == 0) {
      return Failure(LibraryErrorCode::changeNotSupported,
                     "nothing can be added to the album “" + request.album + "”.");
    }
    album = find.integer(0);
  }
  for (const std::string& identifier : request.assets) {
    Statement find =
        database_.prepare("SELECT id FROM assets WHERE ident = ? AND trashed_ns IS NULL");
    if (!find.bind(identifier).next()) {
      if (find.failed()) return failure();
      return Failure(LibraryErrorCode::identifierNotFound,
                     "the asset “" + identifier + "” is not in the library.");
    }
    if (!quorvin::addToAlbum(database_, album, find.integer(0))) return failure();
  }
  return Null{};
}

}  // namespace quorvin
