#include "testing/fakes/fake_photo_library.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "testing/fakes/fake_fetch_result.h"

namespace quorvin {
namespace {

bool contains(std::span<const std::string> texts, const std::string& text) {
  return std::ranges::find(texts, text) != texts.end();
}

}  // namespace

FakePhotoLibrary::FakePhotoLibrary(EventLog& log, OnMisuse onMisuse)
    : changes("changes", log), log_(log), onMisuse_(std::move(onMisuse)) {}

void FakePhotoLibrary::addAsset(PHAsset asset) {
  const std::lock_guard guard(mutex_);
  assets_.push_back(std::make_shared<const PHAsset>(std::move(asset)));
}

void FakePhotoLibrary::removeAsset(const std::string& identifier) {
  const std::lock_guard guard(mutex_);
  std::erase_if(assets_, [&identifier](const auto& a) { return a->localIdentifier == identifier; });
  for (StoredCollection& stored : collections_) std::erase(stored.members, identifier);
}

void FakePhotoLibrary::addCollection(PHAssetCollection collection,
                                     std::vector<std::string> members) {
  const std::lock_guard guard(mutex_);
  collections_.push_back({std::make_shared<const PHAssetCollection>(std::move(collection)), false,
                          std::move(members)});
}

void FakePhotoLibrary::addCollectionOfEverything(PHAssetCollection collection) {
  const std::lock_guard guard(mutex_);
  collections_.push_back(
      {std::make_shared<const PHAssetCollection>(std::move(collection)), true, {}});
}

void FakePhotoLibrary::removeCollection(const std::string& identifier) {
  const std::lock_guard guard(mutex_);
  std::erase_if(collections_, [&identifier](const StoredCollection& stored) {
    return stored.collection->localIdentifier == identifier;
  });
}

std::vector<std::string> FakePhotoLibrary::assetIdentifiers() const {
  const std::shared_lock guard(mutex_);
  std::vector<std::string> identifiers;
  for (const auto& asset : assets_) identifiers.push_back(asset->localIdentifier);
  return identifiers;
}

std::vector<std::string> FakePhotoLibrary::membersOf(const std::string& collection) const {
  const std::shared_lock guard(mutex_);
  for (const StoredCollection& stored : collections_) {
    if (stored.collection->localIdentifier == collection) return stored.members;
  }
  return {};
}

PHAuthorizationStatus FakePhotoLibrary::authorizationStatus() {
  log_.add("authorizationStatus");
  return status;
}

void FakePhotoLibrary::requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) {
  log_.add("requestAuthorization");
  authorizationRequests.push_back(std::move(handler));
}

FetchResult<PHAsset> FakePhotoLibrary::fetchAssetsWithLocalIdentifiers(
    std::span<const std::string> identifiers, const PHFetchOptions* options) {
  Assets found;
  {
    const std::shared_lock guard(mutex_);
    std::ranges::copy_if(assets_, std::back_inserter(found), [identifiers](const auto& asset) {
      return contains(identifiers, asset->localIdentifier);
    });
  }
  // An identifier finds hidden assets and all burst members.
  PHFetchOptions all = options != nullptr ? *options : PHFetchOptions{};
  all.includeHiddenAssets = true;
  all.includeAllBurstAssets = true;
  return fetched(
      "fetchAssetsWithLocalIdentifiers " + describe(identifiers) + " " + describe(options),
      std::move(found), &all);
}

FetchResult<PHAsset> FakePhotoLibrary::fetchAssetsInAssetCollection(
    const PHAssetCollection& collection, const PHFetchOptions* options) {
  Assets found;
  {
    const std::shared_lock guard(mutex_);
    const StoredCollection* stored = collectionOf(collection.localIdentifier);
    if (stored != nullptr && stored->holdsEverything) {
      found = assets_;
    } else if (stored != nullptr) {
      for (const std::string& member : stored->members) {
        if (auto asset = assetOf(member)) found.push_back(std::move(asset));
      }
    }
  }
  return fetched(
      "fetchAssetsInAssetCollection " + collection.localIdentifier + " " + describe(options),
      std::move(found), options);
}

FetchResult<PHAsset> FakePhotoLibrary::fetchAssetsWithBurstIdentifier(
    const std::string& burstIdentifier, const PHFetchOptions* options) {
  Assets found;
  {
    const std::shared_lock guard(mutex_);
    std::ranges::copy_if(assets_, std::back_inserter(found), [&burstIdentifier](const auto& asset) {
      return asset->burstIdentifier == burstIdentifier;
    });
  }
  return fetched("fetchAssetsWithBurstIdentifier " + burstIdentifier + " " + describe(options),
                 std::move(found), options);
}

FetchResult<PHAssetCollection> FakePhotoLibrary::fetchAssetCollectionsWithType(
    PHAssetCollectionType type, std::int64_t subtype, const PHFetchOptions* options) {
  Collections found;
  {
    const std::shared_lock guard(mutex_);
    for (const StoredCollection& stored : collections_) {
      const PHAssetCollection& collection = *stored.collection;
      if (collection.assetCollectionType == type &&
          (subtype == PHAssetCollectionSubtype::any ||
           collection.assetCollectionSubtype == subtype)) {
        found.push_back(stored.collection);
      }
    }
  }
  return fetched("fetchAssetCollectionsWithType " +
                     std::to_string(static_cast<std::int64_t>(type)) + " " +
                     std::to_string(subtype) + " " + describe(options),
                 std::move(found), options);
}

FetchResult<PHAssetCollection> FakePhotoLibrary::fetchAssetCollectionsWithLocalIdentifiers(
    std::span<const std::string> identifiers, const PHFetchOptions* options) {
  Collections found;
  {
    const std::shared_lock guard(mutex_);
    for (const StoredCollection& stored : collections_) {
      if (contains(identifiers, stored.collection->localIdentifier)) {
        found.push_back(stored.collection);
      }
    }
  }
  return fetched("fetchAssetCollectionsWithLocalIdentifiers " + describe(identifiers) + " " +
                     describe(options),
                 std::move(found), options);
}

bool FakePhotoLibrary::isReadable() const {
  return status == PHAuthorizationStatus::authorized || status == PHAuthorizationStatus::limited;
}

std::shared_ptr<const PHAsset> FakePhotoLibrary::assetOf(const std::string& identifier) const {
  const auto found = std::ranges::find_if(
      assets_, [&identifier](const auto& asset) { return asset->localIdentifier == identifier; });
  return found == assets_.end() ? nullptr : *found;
}

FakePhotoLibrary::StoredCollection* FakePhotoLibrary::collectionOf(const std::string& identifier) {
  const auto found =
      std::ranges::find_if(collections_, [&identifier](const StoredCollection& stored) {
        return stored.collection->localIdentifier == identifier;
      });
  return found == collections_.end() ? nullptr : &*found;
}

bool FakePhotoLibrary::hasCollection(const std::string& identifier) {
  const std::shared_lock guard(mutex_);
  return collectionOf(identifier) != nullptr;
}

void FakePhotoLibrary::addMember(const std::string& collection, const std::string& asset) {
  const std::lock_guard guard(mutex_);
  StoredCollection* stored = collectionOf(collection);
  if (stored == nullptr || contains(stored->members, asset)) return;
  stored->members.push_back(asset);
}

FetchResult<PHAsset> FakePhotoLibrary::fetched(const std::string& event, Assets assets,
                                               const PHFetchOptions* options) {
  log_.add(event);
  if (!isReadable()) assets.clear();
  assets = applyToAssets(options, std::move(assets), onMisuse_);
  // A copy: the hook may take itself away.
  if (const auto hook = duringFetch) hook();
  return std::make_shared<const FakeFetchResult<PHAsset>>(
      std::move(assets),
      [onLoad = duringLoad](IndexRange range) {
        if (onLoad) onLoad(range.last - range.first);
      },
      pretendedCount ? pretendedCount(event) : std::nullopt);
}

FetchResult<PHAssetCollection> FakePhotoLibrary::fetched(const std::string& event,
                                                         Collections collections,
                                                         const PHFetchOptions* options) {
  log_.add(event);
  if (!isReadable()) collections.clear();
  collections = applyToCollections(options, std::move(collections), onMisuse_);
  // A copy: the hook may take itself away.
  if (const auto hook = duringFetch) hook();
  return std::make_shared<const FakeFetchResult<PHAssetCollection>>(std::move(collections));
}

std::string FakePhotoLibrary::newIdentifier() {
  return "created-" + std::to_string(++created_);
}

}  // namespace quorvin
