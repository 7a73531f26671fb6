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
  content_.assets.push_back(std::make_shared<const PHAsset>(std::move(asset)));
}

void FakePhotoLibrary::removeAsset(const std::string& identifier) {
  const std::lock_guard guard(mutex_);
  content_.removeAsset(identifier);
}

void FakePhotoLibrary::addCollection(PHAssetCollection collection,
                                     std::vector<std::string> members) {
  const std::lock_guard guard(mutex_);
  content_.collections.push_back({std::make_shared<const PHAssetCollection>(std::move(collection)),
                                  false, std::move(members)});
}

void FakePhotoLibrary::addCollectionOfEverything(PHAssetCollection collection) {
  const std::lock_guard guard(mutex_);
  content_.collections.push_back(
      {std::make_shared<const PHAssetCollection>(std::move(collection)), true, {}});
}

void FakePhotoLibrary::removeCollection(const std::string& identifier) {
  const std::lock_guard guard(mutex_);
  std::erase_if(content_.collections, [&identifier](const StoredCollection& stored) {
    return stored.collection->localIdentifier == identifier;
  });
}

std::vector<std::string> FakePhotoLibrary::assetIdentifiers() const {
  const std::shared_lock guard(mutex_);
  std::vector<std::string> identifiers;
  for (const auto& asset : content_.assets) identifiers.push_back(asset->localIdentifier);
  return identifiers;
}

std::vector<std::string> FakePhotoLibrary::membersOf(const std::string& collection) const {
  const std::shared_lock guard(mutex_);
  const StoredCollection* stored = content_.collectionOf(collection);
  return stored != nullptr ? stored->members : std::vector<std::string>();
}

void FakePhotoLibrary::select(const std::string& identifier) {
  const std::lock_guard guard(mutex_);
  content_.selection.insert(identifier);
}

PHAuthorizationStatus FakePhotoLibrary::authorizationStatus() {
  log_.add("authorizationStatus");
  return status;
}

void FakePhotoLibrary::requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) {
  log_.add("requestAuthorization");
  authorizationRequests.push_back(std::move(handler));
}

void FakePhotoLibrary::answerAuthorizationRequests(PHAuthorizationStatus answer) {
  if (status == PHAuthorizationStatus::notDetermined) status = answer;
  for (const auto& handler : std::exchange(authorizationRequests, {})) handler(status);
}

FetchResult<PHAsset> FakePhotoLibrary::fetchAssetsWithLocalIdentifiers(
    std::span<const std::string> identifiers, const PHFetchOptions* options) {
  Assets found;
  {
    const std::shared_lock guard(mutex_);
    std::ranges::copy_if(
        content_.assets, std::back_inserter(found),
        [identifiers](const auto& asset) { return contains(identifiers, asset->localIdentifier); });
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
    const StoredCollection* stored = content_.collectionOf(collection.localIdentifier);
    if (stored != nullptr && isShown(*stored->collection)) {
      found = content_.assets;
      if (!stored->holdsEverything) {
        const auto place = [stored](const std::shared_ptr<const PHAsset>& asset) {
          return std::ranges::find(stored->members, asset->localIdentifier);
        };
        std::erase_if(found,
                      [&](const auto& asset) { return place(asset) == stored->members.end(); });
        // Any other order is made from that of addition, which settles ties.
        if (options == nullptr || options->sortDescriptors.empty()) {
          std::ranges::sort(found, {}, place);
        }
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
    std::ranges::copy_if(content_.assets, std::back_inserter(found),
                         [&burstIdentifier](const auto& asset) {
                           return asset->burstIdentifier == burstIdentifier;
                         });
  }
  sortByDate(found);
  return fetched("fetchAssetsWithBurstIdentifier " + burstIdentifier + " " + describe(options),
                 std::move(found), options);
}

FetchResult<PHAssetCollection> FakePhotoLibrary::fetchAssetCollectionsWithType(
    PHAssetCollectionType type, std::int64_t subtype, const PHFetchOptions* options) {
  Collections found;
  {
    const std::shared_lock guard(mutex_);
    for (const StoredCollection& stored : content_.collections) {
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
    for (const StoredCollection& stored : content_.collections) {
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

std::optional<NSError> FakePhotoLibrary::refusal() const {
  if (isReadable()) return std::nullopt;
  const bool isRestricted = status == PHAuthorizationStatus::restricted;
  return NSError{"Library", isRestricted ? 3310 : 3311, "Nobody allowed it."};
}

std::optional<NSError> FakePhotoLibrary::accessError(const std::string& asset) const {
  if (auto refused = refusal()) return refused;
  const std::shared_lock guard(mutex_);
  const bool isSelected = !isLimited() || content_.selection.contains(asset);
  if (isSelected && content_.assetOf(asset) != nullptr) return std::nullopt;
  return NSError{"Library", 3303, "The asset has gone."};
}

bool FakePhotoLibrary::isShown(const PHAssetCollection& collection) const {
  return isReadable() &&
         (!isLimited() || collection.assetCollectionType != PHAssetCollectionType::album);
}

std::shared_ptr<const PHAsset> FakePhotoLibrary::Content::assetOf(
    const std::string& identifier) const {
  const auto found = std::ranges::find_if(
      assets, [&identifier](const auto& asset) { return asset->localIdentifier == identifier; });
  return found == assets.end() ? nullptr : *found;
}

const FakePhotoLibrary::StoredCollection* FakePhotoLibrary::Content::collectionOf(
    const std::string& identifier) const {
  const auto found =
      std::ranges::find_if(collections, [&identifier](const StoredCollection& stored) {
        return stored.collection->localIdentifier == identifier;
      });
  return found == collections.end() ? nullptr : &*found;
}

void FakePhotoLibrary::Content::removeAsset(const std::string& identifier) {
  std::erase_if(assets, [&identifier](const auto& a) { return a->localIdentifier == identifier; });
  for (StoredCollection& stored : collections) std::erase(stored.members, identifier);
}

void FakePhotoLibrary::Content::addMember(const std::string& collection, const std::string& asset) {
  for (StoredCollection& stored : collections) {
    if (stored.collection->localIdentifier != collection) continue;
    if (!contains(stored.members, asset)) stored.members.push_back(asset);
  }
}

void FakePhotoLibrary::Content::settleBurst(const std::string& burst) {
  Assets members;
  std::ranges::copy_if(assets, std::back_inserter(members),
                       [&burst](const auto& asset) { return asset->burstIdentifier == burst; });
  const auto represents = [](const auto& asset) { return asset->representsBurst; };
  if (members.empty() || std::ranges::any_of(members, represents)) return;
  sortByDate(members);
  PHAsset promoted = *members.front();
  promoted.representsBurst = true;
  *std::ranges::find(assets, members.front()) =
      std::make_shared<const PHAsset>(std::move(promoted));
}

FetchResult<PHAsset> FakePhotoLibrary::fetched(const std::string& event, Assets assets,
                                               const PHFetchOptions* options) {
  log_.add(event);
  if (!isReadable()) assets.clear();
  if (isLimited()) {
    const std::shared_lock guard(mutex_);
    std::erase_if(assets, [this](const auto& asset) {
      return !content_.selection.contains(asset->localIdentifier);
    });
  }
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
  std::erase_if(collections, [this](const auto& each) { return !isShown(*each); });
  collections = applyToCollections(options, std::move(collections), onMisuse_);
  // A copy: the hook may take itself away.
  if (const auto hook = duringFetch) hook();
  return std::make_shared<const FakeFetchResult<PHAssetCollection>>(std::move(collections));
}

std::string FakePhotoLibrary::newIdentifier() {
  return "created-" + std::to_string(++created_);
}

}  // namespace quorvin
