// Changes of the photo library.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "core/platform/foundation.h"
#include "core/platform/photo_library.h"

namespace quorvin {

/// Stands for an object that a change is about to create.
struct PHObjectPlaceholder {
  std::string localIdentifier;  ///< the one that the object will have
};

/// The requests of one change; they are recorded, and applied in order after the block returns.
/// Used inside the change block only.
class PHChangeRequests {
 public:
  virtual ~PHChangeRequests() = default;
  /// The created asset's placeholder; none when no request could be made.
  virtual std::optional<PHObjectPlaceholder> creationRequestForAssetFromImageAtFileURL(
      const std::string& path) = 0;
  virtual std::optional<PHObjectPlaceholder> creationRequestForAssetFromVideoAtFileURL(
      const std::string& path) = 0;
  virtual void deleteAssets(const PHFetchResult<PHAsset>& assets) = 0;
  virtual std::optional<PHObjectPlaceholder> creationRequestForAssetCollectionWithTitle(
      const std::string& title) = 0;
  /// Adds to the end of an album. False, and nothing is recorded, when the album takes no change.
  virtual bool addAssets(const PHAssetCollection& album,
                         std::span<const PHObjectPlaceholder> assets) = 0;
};

/// Applies changes, all requests of one block or none. Any thread.
class PHPhotoLibraryChanges {
 public:
  virtual ~PHPhotoLibraryChanges() = default;
  /// Returns at once. The block runs on the library's own serial queue; then, when the change is
  /// durable or has failed, `completionHandler` runs on another thread.
  virtual void performChanges(
      std::function<void(PHChangeRequests&)> changeBlock,
      std::function<void(bool success, std::optional<NSError> error)> completionHandler) = 0;
};

}  // namespace quorvin
