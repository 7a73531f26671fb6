#include "platform_linux/library/catalogue/overview.h"

#include <string>
#include <utility>

namespace quorvin {
namespace {

bool readCollections(Database& database, Overview& overview) {
  Statement rows = database.prepare(
      "SELECT id, ident, type, subtype, title FROM collections ORDER BY type, pos, id");
  while (rows.next()) {
    CollectionRow row;
    row.row = rows.integer(0);
    row.collection = std::make_shared<const PHAssetCollection>(PHAssetCollection{
        .localIdentifier = std::string(rows.text(1)),
        .assetCollectionType = static_cast<PHAssetCollectionType>(rows.integer(2)),
        .assetCollectionSubtype = rows.integer(3),
        .localizedTitle = rows.optionalText(4)});
    row.gallery = row.collection->assetCollectionType == PHAssetCollectionType::smartAlbum
                      ? gallerySmart(row.collection->assetCollectionSubtype)
                      : row.row;
    overview.collections.push_back(std::move(row));
  }
  return !rows.failed();
}

bool readCounts(Database& database, Overview& overview) {
  std::unordered_map<ListedGallery, TypeCounts> counts;
  Statement rows = database.prepare(
      "SELECT listing / 2, others, images, videos, sounds FROM place_counts"
      " WHERE level = 2 AND listing % 2 = 0");
  while (rows.next()) {
    TypeCounts& of = counts[rows.integer(0)];
    for (std::size_t i = 0; i < kMediaTypes; ++i) of.of[i] = rows.integer(1 + static_cast<int>(i));
  }
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

Result<std::shared_ptr<const Overview>> readOverview(Database& database) {
  auto overview = std::make_shared<Overview>();
  const auto status = database.integer("SELECT value FROM meta WHERE key = 'authorization'");
  if (!status) return unreadable(database);
  if (*status >= 0 && *status <= static_cast<std::int64_t>(PHAuthorizationStatus::limited)) {
    overview->status = static_cast<PHAuthorizationStatus>(*status);
  }
  if (!readCollections(database, *overview) || !readCounts(database, *overview)) {
    return unreadable(database);
  }
  for (std::size_t i = 0; i < overview->collections.size(); ++i) {
    overview->byIdentifier.emplace(overview->collections[i].collection->localIdentifier, i);
  }
  return std::shared_ptr<const Overview>(std::move(overview));
}

}  // namespace quorvin
