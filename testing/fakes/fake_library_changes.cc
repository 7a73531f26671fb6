// The changes of the library in memory.
#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "testing/fakes/fake_photo_library.h"

namespace quorvin {

namespace {

// As the system numbers its failures.
constexpr std::int64_t kUserCancelled = 3072;
constexpr std::int64_t kIdentifierNotFound = 3201;
constexpr std::int64_t kChangeNotSupported = 3300;
constexpr std::int64_t kAccessUserDenied = 3311;

NSError failure(std::int64_t code, std::string sentence) {
  return {"Library", code, std::move(sentence)};
}

}  // namespace

/// Records the requests of one block as steps that are applied afterwards.
class FakePhotoLibrary::ChangeRequests : public PHChangeRequests {
 public:
  explicit ChangeRequests(FakePhotoLibrary& library) : library_(library) {}

  std::optional<PHObjectPlaceholder> creationRequestForAssetFromImageAtFileURL(
      const std::string& path) override {
    library_.log_.add("creationRequestForAssetFromImageAtFileURL " + path);
    return creationOf(PHAssetMediaType::image, path);
  }

  std::optional<PHObjectPlaceholder> creationRequestForAssetFromVideoAtFileURL(
      const std::string& path) override {
    library_.log_.add("creationRequestForAssetFromVideoAtFileURL " + path);
    return creationOf(PHAssetMediaType::video, path);
  }

  void deleteAssets(const PHFetchResult<PHAsset>& assets) override {
    std::vector<std::string> identifiers;
    assets.enumerateObjectsUsingBlock(
        [&identifiers](const PHAsset& asset) { identifiers.push_back(asset.localIdentifier); });
    library_.log_.add("deleteAssets " + describe(identifiers));
    steps_.push_back([this, identifiers = std::move(identifiers)](Content& content) {
      return remove(identifiers, content);
    });
  }

  std::optional<PHObjectPlaceholder> creationRequestForAssetCollectionWithTitle(
      const std::string& title) override {
    library_.log_.add("creationRequestForAssetCollectionWithTitle " + title);
    if (library_.creationRequestsFail) return std::nullopt;
    PHAssetCollection album{.localIdentifier = library_.newIdentifier(),
                            .assetCollectionType = PHAssetCollectionType::album,
                            .assetCollectionSubtype = PHAssetCollectionSubtype::albumRegular,
                            .localizedTitle = title};
    PHObjectPlaceholder placeholder{album.localIdentifier};
    steps_.push_back([this, album = std::move(album)](Content& content) {
      if (auto closed = albumsClosed()) return closed;
      content.collections.push_back({std::make_shared<const PHAssetCollection>(album), false, {}});
      return std::optional<NSError>();
    });
    return placeholder;
  }

  bool addAssets(const PHAssetCollection& album,
                 std::span<const PHObjectPlaceholder> assets) override {
    std::vector<std::string> identifiers;
    for (const PHObjectPlaceholder& asset : assets) identifiers.push_back(asset.localIdentifier);
    library_.log_.add("addAssets " + describe(identifiers) + " to " + album.localIdentifier);
    if (!library_.albumsTakeChanges) return false;
    if (album.assetCollectionType != PHAssetCollectionType::album) return false;
    steps_.push_back([this, album = album.localIdentifier, identifiers = std::move(identifiers)](
                         Content& content) { return add(identifiers, album, content); });
    return true;
  }

  /// All steps, or none when one fails.
  std::optional<NSError> apply() {
    const std::lock_guard guard(library_.mutex_);
    Content changed = library_.content_;
    for (const auto& step : steps_) {
      if (auto error = step(changed)) return error;
    }
    library_.content_ = std::move(changed);
    return std::nullopt;
  }

 private:
  using Step = std::function<std::optional<NSError>(Content&)>;

  std::optional<PHObjectPlaceholder> creationOf(PHAssetMediaType type, const std::string& path) {
    if (library_.creationRequestsFail) return std::nullopt;
    PHAsset asset = library_.createdAsset;
    asset.localIdentifier = library_.newIdentifier();
    asset.mediaType = type;
    PHObjectPlaceholder placeholder{asset.localIdentifier};
    steps_.push_back([this, path, asset = std::move(asset)](Content& content) {
      return create(asset, path, content);
    });
    return placeholder;
  }

  std::optional<NSError> create(const PHAsset& asset, const std::string& path, Content& content) {
    const auto fault = library_.faultyFiles.find(path);
    if (fault != library_.faultyFiles.end()) {
      return failure(fault->second, path + " cannot be saved.");
    }
    content.assets.push_back(std::make_shared<const PHAsset>(asset));
    // What an application adds itself it may see.
    if (library_.isLimited()) content.selection.insert(asset.localIdentifier);
    return std::nullopt;
  }

  std::optional<NSError> remove(const std::vector<std::string>& identifiers, Content& content) {
    Assets doomed;
    for (const std::string& id : identifiers) {
      auto asset = content.assetOf(id);
      if (asset == nullptr) continue;  // it has gone already
      if (library_.isLimited() && !content.selection.contains(id)) {
        return failure(kAccessUserDenied, "Access to the asset is not granted.");
      }
      doomed.push_back(std::move(asset));
    }
    if (doomed.empty()) return std::nullopt;
    if (!library_.deletionsAreAllowed) return failure(kUserCancelled, "The user said no.");
    for (const auto& asset : doomed) content.removeAsset(asset->localIdentifier);
    for (const auto& asset : doomed) {
      if (asset->burstIdentifier) content.settleBurst(*asset->burstIdentifier);
    }
    return std::nullopt;
  }

  std::optional<NSError> add(const std::vector<std::string>& identifiers, const std::string& album,
                             Content& content) {
    if (auto closed = albumsClosed()) return closed;
    const StoredCollection* stored = content.collectionOf(album);
    if (stored == nullptr) return failure(kIdentifierNotFound, "The album has gone.");
    if (stored->collection->assetCollectionSubtype != PHAssetCollectionSubtype::albumRegular) {
      return failure(kChangeNotSupported, "Nothing can be added to the album.");
    }
    for (const std::string& id : identifiers) {
      if (content.assetOf(id) == nullptr)
        return failure(kIdentifierNotFound, "The asset has gone.");
      content.addMember(album, id);
    }
    return std::nullopt;
  }

  std::optional<NSError> albumsClosed() const {
    if (!library_.isLimited()) return std::nullopt;
    return failure(kAccessUserDenied, "Albums cannot be changed with limited access.");
  }

  FakePhotoLibrary& library_;
  std::vector<Step> steps_;
};

void FakePhotoLibrary::performChanges(
    std::function<void(PHChangeRequests&)> changeBlock,
    std::function<void(bool success, std::optional<NSError> error)> completionHandler) {
  log_.add("performChanges");
  changes.async([this, block = std::move(changeBlock), completion = std::move(completionHandler)] {
    std::optional<NSError> error = perform(block);
    bool success = !error;
    if (beforeCompletion) beforeCompletion(success, error);
    changes.async([completion, success, error] { completion(success, error); });
  });
}

std::optional<NSError> FakePhotoLibrary::perform(
    const std::function<void(PHChangeRequests&)>& block) {
  if (auto refused = refusal()) return refused;
  ChangeRequests requests(*this);
  block(requests);
  if (auto error = std::exchange(nextChangeFails, std::nullopt)) return error;
  return requests.apply();
}

}  // namespace quorvin
