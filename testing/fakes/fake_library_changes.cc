// The changes of the library in memory.
#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "testing/fakes/fake_photo_library.h"
#include "testing/fakes/samples.h"

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
    library_.log_.add("deleteAssets of " + std::to_string(assets.count()));
    assets.enumerateObjectsUsingBlock([this](const PHAsset& asset) {
      steps_.push_back([this, id = asset.localIdentifier] { library_.removeAsset(id); });
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
    steps_.push_back([this, album = std::move(album)] { library_.addCollection(album, {}); });
    return placeholder;
  }

  bool addAssets(const PHAssetCollection& album,
                 std::span<const PHObjectPlaceholder> assets) override {
    library_.log_.add("addAssets to " + album.localIdentifier);
    if (!library_.albumsTakeChanges) return false;
    for (const PHObjectPlaceholder& asset : assets) {
      steps_.push_back([this, id = album.localIdentifier, asset] {
        const std::lock_guard guard(library_.mutex_);
        if (StoredCollection* stored = library_.collectionOf(id)) {
          stored->members.push_back(asset.localIdentifier);
        }
      });
    }
    return true;
  }

  void apply() {
    for (const auto& step : steps_) step();
  }

 private:
  std::optional<PHObjectPlaceholder> creationOf(PHAssetMediaType type) {
    if (library_.creationRequestsFail) return std::nullopt;
    PHAsset asset = quorvin::assetOf(type, library_.newIdentifier());
    PHObjectPlaceholder placeholder{asset.localIdentifier};
    steps_.push_back([this, asset = std::move(asset)] { library_.addAsset(asset); });
    return placeholder;
  }

  FakePhotoLibrary& library_;
  std::vector<std::function<void()>> steps_;
};

void FakePhotoLibrary::performChanges(
    std::function<void(PHChangeRequests&)> changeBlock,
    std::function<void(bool success, std::optional<NSError> error)> completionHandler) {
  log_.add("performChanges");
  changes.async([this, block = std::move(changeBlock), completion = std::move(completionHandler)] {
    ChangeRequests requests(*this);
    block(requests);
    const std::optional<NSError> error = std::exchange(nextChangeFails, std::nullopt);
    if (!error) requests.apply();
    changes.async([completion, error] { completion(!error, error); });
  });
}

}  // namespace quorvin
