// The changes of the library in memory.
#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "testing/fakes/fake_photo_library.h"

namespace quorvin {

/// Records the requests of one block as steps that are applied afterwards.
class FakePhotoLibrary::ChangeRequests : public PHChangeRequests {
 public:
  explicit ChangeRequests(FakePhotoLibrary& library) : library_(library) {}

  std::optional<PHObjectPlaceholder> creationRequestForAssetFromImageAtFileURL(
      const std::string& path) override {
    library_.log_.add("creationRequestForAssetFromImageAtFileURL " + path);
    return creationOf(PHAssetMediaType::image);
  }

  std::optional<PHObjectPlaceholder> creationRequestForAssetFromVideoAtFileURL(
      const std::string& path) override {
    library_.log_.add("creationRequestForAssetFromVideoAtFileURL " + path);
    return creationOf(PHAssetMediaType::video);
  }

  void deleteAssets(const PHFetchResult<PHAsset>& assets) override {
    std::vector<std::string> identifiers;
    assets.enumerateObjectsUsingBlock(
        [&identifiers](const PHAsset& asset) { identifiers.push_back(asset.localIdentifier); });
    library_.log_.add("deleteAssets " + describe(identifiers));
    steps_.push_back([this, identifiers = std::move(identifiers)] {
      for (const std::string& id : identifiers) library_.removeAsset(id);
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
    createdAlbums_.push_back(album.localIdentifier);
    steps_.push_back([this, album = std::move(album)] { library_.addCollection(album, {}); });
    return placeholder;
  }

  bool addAssets(const PHAssetCollection& album,
                 std::span<const PHObjectPlaceholder> assets) override {
    std::vector<std::string> identifiers;
    for (const PHObjectPlaceholder& asset : assets) identifiers.push_back(asset.localIdentifier);
    library_.log_.add("addAssets " + describe(identifiers) + " to " + album.localIdentifier);
    if (!library_.albumsTakeChanges) return false;
    if (album.assetCollectionType != PHAssetCollectionType::album) return false;
    changedAlbums_.push_back(album.localIdentifier);
    steps_.push_back([this, album = album.localIdentifier, identifiers = std::move(identifiers)] {
      for (const std::string& id : identifiers) library_.addMember(album, id);
    });
    return true;
  }

  /// All steps, or none when an album has gone.
  std::optional<NSError> apply() {
    for (const std::string& album : changedAlbums_) {
      if (std::ranges::find(createdAlbums_, album) != createdAlbums_.end()) continue;
      if (!library_.hasCollection(album)) return NSError{"Library", 3201, "The album has gone."};
    }
    for (const auto& step : steps_) step();
    return std::nullopt;
  }

 private:
  std::optional<PHObjectPlaceholder> creationOf(PHAssetMediaType type) {
    if (library_.creationRequestsFail) return std::nullopt;
    PHAsset asset = library_.createdAsset;
    asset.localIdentifier = library_.newIdentifier();
    asset.mediaType = type;
    PHObjectPlaceholder placeholder{asset.localIdentifier};
    steps_.push_back([this, asset = std::move(asset)] { library_.addAsset(asset); });
    return placeholder;
  }

  FakePhotoLibrary& library_;
  std::vector<std::string> createdAlbums_;
  std::vector<std::string> changedAlbums_;
  std::vector<std::function<void()>> steps_;
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
  if (!isReadable()) return NSError{"Library", 3311, "Nobody allowed it."};
  ChangeRequests requests(*this);
  block(requests);
  if (auto error = std::exchange(nextChangeFails, std::nullopt)) return error;
  return requests.apply();
}

}  // namespace quorvin
