#include "platform_linux/library/upkeep/administration.h"

#include <utility>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/export_rows.h"
#include "platform_linux/library/catalogue/shown_files.h"
#include "platform_linux/library/fetch/authorization.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/previews/preview_store.h"

namespace quorvin {
namespace {

AlbumSummary describeAlbum(const CollectionRow& row) {
  return {row.collection->localIdentifier, row.collection->localizedTitle.value_or(""),
          row.counts.total()};
}

}  // namespace

Result<LibrarySummary> describeLibrary(const std::string& path) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  const auto moment = (*catalogue)->moment();
  if (!moment) return moment.error();
  const auto totals = readTotals((*moment)->database());
  if (!totals) return unreadable((*moment)->database());
  const auto overview = (*moment)->overview();
  if (!overview) return overview.error();
  LibrarySummary summary{*totals, (*moment)->status(), {}, {}, 0, 0, 0};
  for (const CollectionRow& row : (*overview)->collections) {
    const bool isSmart = row.collection->assetCollectionType == PHAssetCollectionType::smartAlbum;
    (isSmart ? summary.smartAlbums : summary.albums).push_back(describeAlbum(row));
  }
  PreviewStore store((*catalogue)->folder());
  const PreviewTotals previews = store.totals(trashedFiles((*moment)->database()));
  summary.previews = previews.pictures;
  summary.previewBytes = previews.bytes;
  summary.previewsWanted =
      countShownFiles((*moment)->database(), 0, leastSide(kGridSide)).value_or(0) -
      previews.impossible;
  return summary;
}

Result<std::vector<std::string>> albumTitlesOf(const std::string& path) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  Catalogue::Reader database = (*catalogue)->reader();
  if (!database) return database.error();
  auto albums = userAlbums(*database);
  if (!albums) return unreadable(*database);
  std::vector<std::string> titles;
  for (AlbumRow& album : *albums) titles.push_back(std::move(album.title));
  return titles;
}

Done storeAuthorization(const std::string& path, PHAuthorizationStatus status) {
  auto catalogue = openCatalogue(path, MissingLibrary::make);
  if (!catalogue) return catalogue.error();
  return storeStatus(**catalogue, status);
}

}  // namespace quorvin
