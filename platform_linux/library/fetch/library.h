// The photo library of this platform: a folder with a catalogue and the original files.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "core/platform/asset_resources.h"
#include "core/platform/dispatch.h"
#include "core/platform/photo_library.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/fetch/asset_files.h"

namespace quorvin {

class Authorization;
class Catalogue;

struct LibraryOptions {
  std::string path;  ///< the library's folder
  /// In place of the stored status, for this object alone.
  std::optional<PHAuthorizationStatus> authorization;
  /// Asks the user. None leaves the status as it is; empty: there is nobody to ask.
  std::function<std::optional<PHAuthorizationStatus>()> prompt;
  /// Runs the prompt and the handlers of `requestAuthorization`, which needs it. Not owned.
  DispatchQueue* mainQueue = nullptr;
};

/// Several objects and processes may share one library. Any thread, several at once; readers never
/// wait for a writer. Fetch results may outlive the object.
class Library final : public PHPhotoLibrary, public PHAssetResourceLister, public AssetFiles {
 public:
  /// Makes the library when the folder is missing or empty. A folder of other content, a library
  /// of a newer version and a damaged one are errors, and are left as they are.
  static Result<std::unique_ptr<Library>> open(LibraryOptions options);
  ~Library() override;

  PHAuthorizationStatus authorizationStatus() override;
  /// Only a status that is not determined is asked for.
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

  PHAssetResources assetResourcesForAsset(const PHAsset& asset) override;
  Result<StoredResources> storedResources(const std::string& localIdentifier) override;
  Done accessTo(const StoredResource& resource) override;
  Result<TimeMap> timeMap(const std::string& localIdentifier) override;

  /// What this library shares with the changes of it.
  const std::shared_ptr<Catalogue>& catalogue() const { return catalogue_; }
  const std::shared_ptr<Authorization>& authorization() const { return authorization_; }

 private:
  Library(std::shared_ptr<Catalogue> catalogue, std::shared_ptr<Authorization> authorization);

  const std::shared_ptr<Catalogue> catalogue_;
  const std::shared_ptr<Authorization> authorization_;
};

}  // namespace quorvin
