// The files that make up an asset.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/photo_library.h"

namespace quorvin {

enum class PHAssetResourceType : std::int64_t {
  photo = 1,
  video = 2,
  audio = 3,
  alternatePhoto = 4,
  fullSizePhoto = 5,
  fullSizeVideo = 6,
  adjustmentData = 7,
  adjustmentBasePhoto = 8,
  pairedVideo = 9,
  fullSizePairedVideo = 10,
  adjustmentBasePairedVideo = 11,
  adjustmentBaseVideo = 12,
  photoProxy = 19,
};

/// One file of an asset. Immutable, any thread. A platform derives from it to keep where the
/// bytes are.
class PHAssetResource {
 public:
  PHAssetResource(PHAssetResourceType type, std::string originalFilename,
                  std::string uniformTypeIdentifier)
      : type(type),
        originalFilename(std::move(originalFilename)),
        uniformTypeIdentifier(std::move(uniformTypeIdentifier)) {}
  virtual ~PHAssetResource() = default;

  const PHAssetResourceType type;
  const std::string originalFilename;
  const std::string uniformTypeIdentifier;  ///< of the content, for example "public.heic"
};

using PHAssetResources = std::vector<std::shared_ptr<const PHAssetResource>>;

/// Any thread.
class PHAssetResourceLister {
 public:
  virtual ~PHAssetResourceLister() = default;
  /// The asset's resources in the library's order; empty when the asset is gone.
  /// Throws `LibraryUnreadable`.
  virtual PHAssetResources assetResourcesForAsset(const PHAsset& asset) = 0;
};

struct PHAssetResourceRequestOptions {
  bool isNetworkAccessAllowed = false;
};

/// Writes resources to files. Any thread.
class PHAssetResourceManager {
 public:
  virtual ~PHAssetResourceManager() = default;
  /// Writes to a new file: an existing one, or a missing folder, is an error, and a file that could
  /// not be written whole is removed. `options` may be null. `completionHandler` is called once,
  /// on any thread, with no error on success.
  virtual void writeDataForAssetResource(
      std::shared_ptr<const PHAssetResource> resource, const std::string& toFile,
      const PHAssetResourceRequestOptions* options,
      std::function<void(std::optional<NSError>)> completionHandler) = 0;
};

}  // namespace quorvin
