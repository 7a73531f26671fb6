#include "platform_linux/library/upkeep/administration.h"

#include <utility>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/smart_albums.h"
#include "platform_linux/library/fetch/asset_query.h"
#include "platform_linux/library/fetch/authorization.h"
#include "platform_linux/library/opening/opening.h"

namespace quorvin {
namespace {

std::optional<AlbumSummary> describeAlbum(Database& database, const CollectionRow& row) {
  const PHAssetCollection& album = *row.collection;
  AlbumSummary summary{album.localIdentifier, album.localizedTitle.value_or(""), 0};
  AssetScope scope{AssetScope::Album{row.row}};
  if (album.assetCollectionType == PHAssetCollectionType::smartAlbum) {
    const SmartAlbum* smart = findSmartAlbum(album.assetCollectionSubtype);
    if (smart == nullptr) return summary;
    scope.place = AssetScope::Smart{smart};
  }
  const auto count = countAssets(database, assetQuery(scope, {}, false));
  if (!count) return std::nullopt;
  summary.assets = *count;
  return summary;
}

}  // namespace

Result<LibrarySummary> describeLibrary(const std::string& path) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  const auto overview = (*catalogue)->overview();
  if (!overview) return overview.error();
  Catalogue::Reader database = (*catalogue)->reader();
  if (!database) return database.error();
  const ReadTransaction moment(*database);
  const auto totals = readTotals(*database);
  if (!totals) return unreadable(*database);
  LibrarySummary summary{*totals, (*overview)->status, {}, {}};
  for (const CollectionRow& row : (*overview)->collections) {
    const bool isSmart = row.collection->assetCollectionType == PHAssetCollectionType::smartAlbum;
    auto album = describeAlbum(*database, row);
    if (!album) return unreadable(*database);
    (isSmart ? summary.smartAlbums : summary.albums).push_back(*std::move(album));
  }
  return summary;
}

Done storeAuthorization(const std::string& path, PHAuthorizationStatus status) {
  auto catalogue = openCatalogue(path, MissingLibrary::make);
  if (!catalogue) return catalogue.error();
  return storeStatus(**catalogue, status);
}

}  // namespace quorvin
