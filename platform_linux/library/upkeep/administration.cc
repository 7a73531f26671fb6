#include "platform_linux/library/upkeep/administration.h"

#include <algorithm>
#include <utility>

#include "platform_linux/library/catalogue/asset_date.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/smart_albums.h"
#include "platform_linux/library/fetch/asset_query.h"
#include "platform_linux/library/fetch/authorization.h"
#include "platform_linux/library/opening/opening.h"

namespace quorvin {
namespace {

void countAssets(Database& database, LibrarySummary& summary) {
  Statement types = database.prepare(
      "SELECT media_type, count(*), total((subtypes & 8) <> 0), total(hidden), total(favorite),"
      " min(created_ns), max(created_ns) FROM assets WHERE trashed_ns IS NULL GROUP BY media_type");
  std::optional<std::int64_t> oldest;
  std::optional<std::int64_t> newest;
  while (types.next()) {
    const auto count = types.integer(1);
    switch (static_cast<PHAssetMediaType>(types.integer(0))) {
      case PHAssetMediaType::image:
        summary.photos = count;
        summary.livePhotos = types.integer(2);
        break;
      case PHAssetMediaType::video:
        summary.videos = count;
        break;
      case PHAssetMediaType::audio:
        summary.audio = count;
        break;
      case PHAssetMediaType::unknown:
        summary.others = count;
        break;
    }
    summary.hidden += types.integer(3);
    summary.favorites += types.integer(4);
    if (types.isNull(5)) continue;
    oldest = std::min(oldest.value_or(types.integer(5)), types.integer(5));
    newest = std::max(newest.value_or(types.integer(6)), types.integer(6));
  }
  if (oldest) summary.oldest = dateFromNanoseconds(*oldest);
  if (newest) summary.newest = dateFromNanoseconds(*newest);
}

std::int64_t number(Database& database, std::string_view sql) {
  return database.integer(sql).value_or(0);
}

AlbumSummary describeAlbum(Database& database, const CollectionRow& row) {
  const PHAssetCollection& album = *row.collection;
  AlbumSummary summary{album.localIdentifier, album.localizedTitle.value_or(""), 0};
  AssetScope scope{AssetScope::Album{row.row}};
  if (album.assetCollectionType == PHAssetCollectionType::smartAlbum) {
    const SmartAlbum* smart = findSmartAlbum(album.assetCollectionSubtype);
    if (smart == nullptr) return summary;
    scope.place = AssetScope::Smart{smart};
  }
  const AssetQuery query = assetQuery(scope, {}, false);
  Statement count = database.prepare("SELECT count(*) " + query.from);
  query.bind(count);
  if (count.next()) summary.assets = count.integer(0);
  return summary;
}

}  // namespace

Result<LibrarySummary> describeLibrary(const std::string& path) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  const auto overview = (*catalogue)->overview();
  Catalogue::Reader database = (*catalogue)->reader();
  if (!database) return catalogueUnreadable();
  const ReadTransaction moment(*database);
  LibrarySummary summary;
  summary.status = overview->status;
  countAssets(*database, summary);
  summary.bursts = number(*database,
                          "SELECT count(DISTINCT burst_id) FROM assets"
                          " WHERE burst_id IS NOT NULL AND trashed_ns IS NULL");
  summary.deleted = number(*database, "SELECT count(*) FROM assets WHERE trashed_ns IS NOT NULL");
  summary.originalFiles = number(*database, "SELECT count(*) FROM resources");
  summary.originalBytes = number(*database, "SELECT coalesce(sum(size), 0) FROM resources");
  for (const CollectionRow& row : overview->collections) {
    const bool isSmart = row.collection->assetCollectionType == PHAssetCollectionType::smartAlbum;
    (isSmart ? summary.smartAlbums : summary.albums).push_back(describeAlbum(*database, row));
  }
  return summary;
}

Result<Null> storeAuthorization(const std::string& path, PHAuthorizationStatus status) {
  auto catalogue = openCatalogue(path, MissingLibrary::make);
  if (!catalogue) return catalogue.error();
  return storeStatus(**catalogue, status);
}

}  // namespace quorvin
