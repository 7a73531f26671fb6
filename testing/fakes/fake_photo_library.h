// A photo library of plain objects in memory.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>
#include <vector>

#include "core/platform/changes.h"
#include "core/platform/photo_library.h"
#include "testing/fakes/event_log.h"
#include "testing/fakes/fake_dispatch.h"
#include "testing/fakes/fetch_rules.h"

namespace quorvin {

/// Any thread for what the interfaces offer. Fetches and changes log themselves with their
/// arguments and options. The test scripts it before it lets other threads in.
class FakePhotoLibrary : public PHPhotoLibrary, public PHPhotoLibraryChanges {
 public:
  FakePhotoLibrary(EventLog& log, OnMisuse onMisuse);

  // What the library holds. Assets come in order of addition, collections in the order given.
  void addAsset(PHAsset asset);
  void removeAsset(const std::string& identifier);
  /// Members in the album's own order.
  void addCollection(PHAssetCollection collection, std::vector<std::string> members);
  /// A collection of every asset, also of those added later.
  void addCollectionOfEverything(PHAssetCollection collection);
  void removeCollection(const std::string& identifier);
  std::vector<std::string> assetIdentifiers() const;
  std::vector<std::string> membersOf(const std::string& collection) const;

  /// Why nothing of the asset may be read: there is no access to it, or it has gone.
  std::optional<NSError> accessError(const std::string& asset) const;

  // What happens inside a fetch, on its thread, while no lock of the library is held.
  std::function<void()> duringFetch;
  /// The same when a result loads objects; `count` of them.
  std::function<void(std::size_t count)> duringLoad;
  /// Gives the result of a fetch, named by its log line, another count than it has objects.
  std::function<std::optional<std::size_t>(const std::string& event)> pretendedCount;

  // Authorisation.
  PHAuthorizationStatus status = PHAuthorizationStatus::authorized;
  /// Adds to what limited access shows.
  void select(const std::string& identifier);
  /// The handlers that wait for the user, oldest first.
  std::vector<std::function<void(PHAuthorizationStatus)>> authorizationRequests;
  /// Ends all requests as the system does: the user decides only what was not decided yet.
  void answerAuthorizationRequests(PHAuthorizationStatus answer);

  // Changes. Each runs as two items of `changes`: the block, unless nobody allows it, then the
  // completion.
  ManualQueue changes;
  std::optional<NSError> nextChangeFails;  ///< used up by one change
  bool deletionsAreAllowed = true;         ///< what the user says
  bool creationRequestsFail = false;       ///< no placeholder
  /// Files that nothing can be made of, with the code that the change then fails with.
  std::map<std::string, std::int64_t> faultyFiles;
  bool albumsTakeChanges = true;  ///< smart albums never do
  /// What creation requests make, but for the identifier and the media type.
  PHAsset createdAsset;
  /// What happens once a change is over; it may alter what the completion is told.
  std::function<void(bool& success, std::optional<NSError>& error)> beforeCompletion;

  // PHPhotoLibrary
  PHAuthorizationStatus authorizationStatus() override;
  void requestAuthorization(std::function<void(PHAuthorizationStatus)> handler) override;
  FetchResult<PHAsset> fetchAssetsWithLocalIdentifiers(std::span<const std::string> identifiers,
                                                       const PHFetchOptions* options) override;
  FetchResult<PHAsset> fetchAssetsInAssetCollection(const PHAssetCollection& collection,
                                                    const PHFetchOptions* options) override;
  FetchResult<PHAsset> fetchAssetsWithBurstIdentifier(const std::string& burstIdentifier,
                                                      const PHFetchOptions* options) override;
  FetchResult<PHAssetCollection> fetchAssetCollectionsWithType(
      PHAssetCollectionType type, std::int64_t subtype, const PHFetchOptions* options) override;
  FetchResult<PHAssetCollection> fetchAssetCollectionsWithLocalIdentifiers(
      std::span<const std::string> identifiers, const PHFetchOptions* options) override;

  // PHPhotoLibraryChanges
  void performChanges(
      std::function<void(PHChangeRequests&)> changeBlock,
      std::function<void(bool success, std::optional<NSError> error)> completionHandler) override;

 private:
  class ChangeRequests;
  struct StoredCollection {
    std::shared_ptr<const PHAssetCollection> collection;
    bool holdsEverything = false;
    std::vector<std::string> members;
  };
  /// What the library holds.
  struct Content {
    Assets assets;
    std::vector<StoredCollection> collections;
    std::set<std::string> selection;

    /// Null when there is none.
    std::shared_ptr<const PHAsset> assetOf(const std::string& identifier) const;
    /// Null when there is none.
    const StoredCollection* collectionOf(const std::string& identifier) const;
    void removeAsset(const std::string& identifier);
    /// At the end, unless it is one already.
    void addMember(const std::string& collection, const std::string& asset);
    /// A burst without a representative gets one: the first by date.
    void settleBurst(const std::string& burst);
  };

  bool isReadable() const;
  std::optional<NSError> refusal() const;
  bool isShown(const PHAssetCollection& collection) const;
  bool isLimited() const { return status == PHAuthorizationStatus::limited; }
  std::optional<NSError> perform(const std::function<void(PHChangeRequests&)>& block);
  FetchResult<PHAsset> fetched(const std::string& event, Assets assets,
                               const PHFetchOptions* options);
  FetchResult<PHAssetCollection> fetched(const std::string& event, Collections collections,
                                         const PHFetchOptions* options);
  std::string newIdentifier();

  EventLog& log_;
  const OnMisuse onMisuse_;
  mutable std::shared_mutex mutex_;
  Content content_;
  int created_ = 0;
};

}  // namespace quorvin
