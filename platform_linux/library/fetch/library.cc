#include "platform_linux/library/fetch/library.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/time_maps.h"
#include "platform_linux/library/fetch/asset_fetch.h"
#include "platform_linux/library/fetch/asset_query.h"
#include "platform_linux/library/fetch/authorization.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/places/smart_albums.h"
#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

const PHFetchOptions kDefaultOptions;

const PHFetchOptions& orDefault(const PHFetchOptions* options) {
  return options == nullptr ? kDefaultOptions : *options;
}

template <class T>
FetchResult<T> nothing() {
  return std::make_shared<LoadedResult<T>>(std::vector<std::shared_ptr<const T>>());
}

using Collections = std::vector<std::shared_ptr<const PHAssetCollection>>;

FetchResult<PHAssetCollection> collectionResult(Collections found, const PHFetchOptions* options) {
  const PHFetchOptions& wanted = orDefault(options);
  if (wanted.predicate || !wanted.sortDescriptors.empty()) {
    fatalError("Collections can be neither filtered nor sorted");
  }
  if (wanted.fetchLimit > 0 && found.size() > wanted.fetchLimit) found.resize(wanted.fetchLimit);
  return std::make_shared<LoadedResult<PHAssetCollection>>(std::move(found));
}

std::string originalsPath(const Catalogue& catalogue) {
  return catalogue.folder().root + "/" + LibraryFolder::kOriginals + "/";
}

// With limited access, the user's own albums do not exist.
bool isOpen(const PHAssetCollection& collection, PHAuthorizationStatus status) {
  return status == PHAuthorizationStatus::authorized ||
         (status == PHAuthorizationStatus::limited &&
          collection.assetCollectionType == PHAssetCollectionType::smartAlbum);
}

}  // namespace

Result<std::unique_ptr<Library>> Library::open(LibraryOptions options) {
  auto catalogue = openCatalogue(options.path, MissingLibrary::make);
  if (!catalogue) return catalogue.error();
  if (const Done held = (*catalogue)->holdDescriptors(); !held) return held.error();
  auto authorization = std::make_shared<Authorization>(
      *catalogue, options.authorization, std::move(options.prompt), options.mainQueue);
  return std::unique_ptr<Library>(new Library(*std::move(catalogue), std::move(authorization)));
}

Library::Library(std::shared_ptr<Catalogue> catalogue, std::shared_ptr<Authorization> authorization)
    : catalogue_(std::move(catalogue)), authorization_(std::move(authorization)) {}

Library::~Library() = default;

PHAuthorizationStatus Library::authorizationStatus() {
  return orThrow(authorization_->status());
}

void Library::requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) {
  authorization_->request(std::move(handler));
}

FetchResult<PHAsset> Library::fetchAssetsWithLocalIdentifiers(
    std::span<const std::string> identifiers, const PHFetchOptions* options) {
  const auto moment = orThrow(catalogue_->moment());
  const PHAuthorizationStatus status = authorization_->status(*moment);
  if (!isGranted(status)) return nothing<PHAsset>();
  auto rows = assetRows(moment->database(), identifiers);
  const PHFetchOptions& wanted = orDefault(options);
  if (status == PHAuthorizationStatus::authorized && !wanted.predicate &&
      wanted.sortDescriptors.empty()) {
    if (wanted.fetchLimit > 0 && rows.size() > wanted.fetchLimit) rows.resize(wanted.fetchLimit);
    return listAssets(catalogue_, std::move(rows));
  }
  return fetchAssets(catalogue_, *moment,
                     assetQuery({AssetScope::Rows{std::move(rows)}}, wanted,
                                status == PHAuthorizationStatus::limited));
}

FetchResult<PHAsset> Library::fetchAssetsInAssetCollection(const PHAssetCollection& collection,
                                                           const PHFetchOptions* options) {
  auto moment = orThrow(catalogue_->moment());
  const PHAuthorizationStatus status = authorization_->status(*moment);
  const auto row = orThrow(moment->find(collection.localIdentifier));
  if (row == nullptr || !isOpen(*row->collection, status)) return nothing<PHAsset>();
  AssetScope scope{AssetScope::Album{row->row}};
  if (row->collection->assetCollectionType == PHAssetCollectionType::smartAlbum) {
    const SmartAlbum* album = findSmartAlbum(row->collection->assetCollectionSubtype);
    if (album == nullptr) return nothing<PHAsset>();
    scope.place = AssetScope::Smart{album};
  }
  const bool isLimited = status == PHAuthorizationStatus::limited;
  if (!isLimited) {
    if (const auto query = placeQuery(*row, orDefault(options))) {
      return fetchPlaces(catalogue_, std::move(moment), *query);
    }
  }
  return fetchAssets(catalogue_, *moment, assetQuery(scope, orDefault(options), isLimited));
}

FetchResult<PHAsset> Library::fetchAssetsWithBurstIdentifier(const std::string& burstIdentifier,
                                                             const PHFetchOptions* options) {
  const auto moment = orThrow(catalogue_->moment());
  const PHAuthorizationStatus status = authorization_->status(*moment);
  if (!isGranted(status)) return nothing<PHAsset>();
  return fetchAssets(catalogue_, *moment,
                     assetQuery({AssetScope::Burst{burstIdentifier}}, orDefault(options),
                                status == PHAuthorizationStatus::limited));
}

FetchResult<PHAssetCollection> Library::fetchAssetCollectionsWithType(
    PHAssetCollectionType type, std::int64_t subtype, const PHFetchOptions* options) {
  const auto moment = orThrow(catalogue_->moment());
  const PHAuthorizationStatus status = authorization_->status(*moment);
  const auto overview = orThrow(moment->overview());
  Collections found;
  for (const CollectionRow& row : overview->collections) {
    const PHAssetCollection& collection = *row.collection;
    if (collection.assetCollectionType == type && isOpen(collection, status) &&
        (subtype == PHAssetCollectionSubtype::any ||
         subtype == collection.assetCollectionSubtype)) {
      found.push_back(row.collection);
    }
  }
  return collectionResult(std::move(found), options);
}

FetchResult<PHAssetCollection> Library::fetchAssetCollectionsWithLocalIdentifiers(
    std::span<const std::string> identifiers, const PHFetchOptions* options) {
  const auto moment = orThrow(catalogue_->moment());
  const PHAuthorizationStatus status = authorization_->status(*moment);
  Collections found;
  if (identifiers.size() == 1) {
    const auto row = orThrow(moment->find(identifiers.front()));
    if (row != nullptr && isOpen(*row->collection, status)) found.push_back(row->collection);
    return collectionResult(std::move(found), options);
  }
  const auto overview = orThrow(moment->overview());
  std::vector<const CollectionRow*> rows;
  for (const std::string& identifier : identifiers) {
    const CollectionRow* row = overview->find(identifier);
    if (row != nullptr && isOpen(*row->collection, status)) rows.push_back(row);
  }
  // Each once, in the order of listings.
  std::sort(rows.begin(), rows.end());
  rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
  for (const CollectionRow* row : rows) found.push_back(row->collection);
  return collectionResult(std::move(found), options);
}

PHAssetResources Library::assetResourcesForAsset(const PHAsset& asset) {
  const auto stored = storedResources(asset.localIdentifier);
  if (!stored && (stored.error().is(LibraryErrorCode::internal) ||
                  stored.error().is(LibraryErrorCode::notEnoughSpace))) {
    throwUnreadable(stored.error());
  }
  if (!stored) return {};
  return {stored->begin(), stored->end()};
}

Result<StoredResources> Library::storedResources(const std::string& localIdentifier) {
  const auto status = authorization_->status();
  if (const Done access = accessUnder(status); !access) return access.error();
  Catalogue::Reader database = catalogue_->reader();
  if (!database) return database.error();
  Statement rows = database->prepare(
      *status == PHAuthorizationStatus::limited
          ? "SELECT r.type, r.name, r.uti, r.path, r.orientation FROM assets AS a "
            "JOIN limited_selection AS l ON l.asset = a.id "
            "LEFT JOIN resources AS r ON r.asset = a.id "
            "WHERE a.ident = ? AND a.trashed_ns IS NULL ORDER BY r.pos"
          : "SELECT r.type, r.name, r.uti, r.path, r.orientation FROM assets AS a "
            "LEFT JOIN resources AS r ON r.asset = a.id "
            "WHERE a.ident = ? AND a.trashed_ns IS NULL ORDER BY r.pos");
  rows.bind(localIdentifier);
  const std::string originals = originalsPath(*catalogue_);
  StoredResources resources;
  bool found = false;
  while (rows.next()) {
    found = true;
    // An asset without resources has one row; side files are nobody else's business.
    if (rows.isNull(0) || isUnseen(rows.integer(0))) continue;
    const std::string path(rows.text(3));
    resources.push_back(std::make_shared<const StoredResource>(
        static_cast<PHAssetResourceType>(rows.integer(0)), std::string(rows.text(1)),
        std::string(rows.text(2)), originalFile(catalogue_->folder(), path), originals + path,
        static_cast<int>(rows.integer(4))));
  }
  if (rows.failed()) return unreadable(*database);
  if (found) return resources;
  return Failure(LibraryErrorCode::missingResource,
                 "the asset “" + localIdentifier + "” is not in the library.");
}

Done Library::accessTo(const StoredResource& resource) {
  const auto status = authorization_->status();
  if (Done access = accessUnder(status); !access) return access;
  const std::string originals = originalsPath(*catalogue_);
  const bool isOurs = resource.path.starts_with(originals);
  const std::string path = isOurs ? resource.path.substr(originals.size()) : "";
  if (isOurs) {
    Catalogue::Reader database = catalogue_->reader();
    if (!database) return database.error();
    Statement row =
        database->prepare(*status == PHAuthorizationStatus::limited
                              ? "SELECT 1 FROM resources AS r JOIN assets AS a ON a.id = r.asset "
                                "JOIN limited_selection AS l ON l.asset = a.id "
                                "WHERE r.path = ? AND a.trashed_ns IS NULL"
                              : "SELECT 1 FROM resources AS r JOIN assets AS a ON a.id = r.asset "
                                "WHERE r.path = ? AND a.trashed_ns IS NULL");
    if (row.bind(path).next()) return Null{};
    if (row.failed()) return unreadable(*database);
  }
  return Failure(
      LibraryErrorCode::missingResource,
      "the asset of the file “" + resource.originalFilename + "” is not in the library.");
}

Result<TimeMap> Library::timeMap(const std::string& localIdentifier) {
  Catalogue::Reader database = catalogue_->reader();
  if (!database) return database.error();
  auto map = findTimeMap(*database, localIdentifier);
  if (!map) return unreadable(*database);
  return *std::move(map);
}

}  // namespace quorvin
