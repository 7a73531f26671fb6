// Where the files of an asset are.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/asset_resources.h"
#include "media_protocol/time_map.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

/// A resource together with its file in the library.
class StoredResource : public PHAssetResource {
 public:
  StoredResource(PHAssetResourceType type, std::string originalFilename,
                 std::string uniformTypeIdentifier, std::string path, int orientation)
      : PHAssetResource(type, std::move(originalFilename), std::move(uniformTypeIdentifier)),
        path(std::move(path)),
        orientation(orientation) {}

  const std::string path;  ///< absolute; read-only, and never renamed
  const int orientation;   ///< of the stored pixels, 1 (upright) to 8, as in Exif
};

using StoredResources = std::vector<std::shared_ptr<const StoredResource>>;

/// Any thread.
class AssetFiles {
 public:
  virtual ~AssetFiles() = default;
  /// The asset's resources in the library's order. An error when the asset is gone or deleted
  /// (`missingResource`), or access is not granted (`accessUserDenied`, `accessRestricted`).
  virtual Result<StoredResources> storedResources(const std::string& localIdentifier) = 0;

  /// A failure, as of `storedResources`, when a resource that was listed before may not be read any
  /// more.
  virtual Done accessTo(const StoredResource& resource) = 0;

  /// How the asset's original video plays; empty when it plays as it is, or when nobody looked yet.
  virtual TimeMap timeMap(const std::string& localIdentifier) = 0;
};

}  // namespace quorvin
