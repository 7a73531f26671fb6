#include "platform_linux/library/catalogue/overview.h"

#include <string>
#include <utility>

namespace quorvin {
namespace {

constexpr std::string_view kCollections = "SELECT id, ident, type, subtype, title FROM collections";

CollectionRow collectionIn(const Statement& rows) {
  CollectionRow row;
  row.row = rows.integer(0);
  row.collection = std::make_shared<const PHAssetCollection>(
      PHAssetCollection{.localIdentifier = std::string(rows.text(1)),
                        .assetCollectionType = static_cast<PHAssetCollectionType>(rows.integer(2)),
                        .assetCollectionSubtype = rows.integer(3),
                        .localizedTitle = rows.optionalText(4)});
  row.gallery = row.collection->assetCollectionType == PHAssetCollectionType::smartAlbum
                    ? gallerySmart(row.collection->assetCollectionSubtype)
                    : row.row;
  return row;
}

TypeCounts countsIn(const Statement& row, int column) {
  TypeCounts counts;
  for (std::size_t i = 0; i < kMediaTypes; ++i) {
    counts.of[i] = row.integer(column + static_cast<int>(i));
  }
  return counts;
}

bool readCollections(Database& database, Overview& overview) {
  Statement rows = database.prepare(std::string(kCollections) + " ORDER BY type, pos, id");
  while (rows.next()) overview.collections.push_back(collectionIn(rows));
  return !rows.failed();
}

bool readCounts(Database& database, Overview& overview) {
  std::unordered_map<ListedGallery, TypeCounts> counts;
  Statement rows = database.prepare(
      "SELECT listing / 2, others, images, videos, sounds FROM place_counts"
      " WHERE level = 2 AND listing % 2 = 0");
  while (rows.next()) counts.emplace(rows.integer(0), countsIn(rows, 1));
  for (CollectionRow& row : overview.collections) {
    if (const auto found = counts.find(row.gallery); found != counts.end()) {
      row.counts = found->second;
    }
  }
  return !rows.failed();
}

}  // namespace

Failure unreadable(const Database& database) {
  return database.lastError("the catalogue cannot be read");
}

const CollectionRow* Overview::find(std::string_view identifier) const {
  const auto found = byIdentifier.find(identifier);
  return found == byIdentifier.end() ? nullptr : &collections[found->second];
}

Result<PHAuthorizationStatus> readStatus(Database& database) {
  const auto status = database.integer("SELECT value FROM meta WHERE key = 'authorization'");
  if (!status) return unreadable(database);
  const bool isKnown =
      *status >= 0 && *status <= static_cast<std::int64_t>(PHAuthorizationStatus::limited);
  return isKnown ? static_cast<PHAuthorizationStatus>(*status)
                 : PHAuthorizationStatus::notDetermined;
}

Result<std::shared_ptr<const Overview>> readOverview(Database& database) {
  auto overview = std::make_shared<Overview>();
  if (!readCollections(database, *overview) || !readCounts(database, *overview)) {
    return unreadable(database);
  }
  for (std::size_t i = 0; i < overview->collections.size(); ++i) {
    overview->byIdentifier.emplace(overview->collections[i].collection->localIdentifier, i);
  }
  return std::shared_ptr<const Overview>(std::move(overview));
}

Result<std::shared_ptr<const CollectionRow>> readCollection(Database& database,
                                                            const std::string& identifier) {
  Statement find = database.prepare(std::string(kCollections) + " WHERE ident = ?");
  if (!find.bind(identifier).next()) {
    if (find.failed()) return unreadable(database);
    return std::shared_ptr<const CollectionRow>();
  }
  CollectionRow row = collectionIn(find);
  Statement counts = database.prepare(
      "SELECT others, images, videos, sounds FROM place_counts WHERE level = 2 AND listing = ?");
  if (counts.bind(listingOf(row.gallery, PlaceOrder::own)).next()) row.counts = countsIn(counts, 0);
  if (counts.failed()) return unreadable(database);
  return std::make_shared<const CollectionRow>(std::move(row));
}

}  // namespace quorvin
