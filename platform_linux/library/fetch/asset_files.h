// Where the files of an asset are.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/asset_resources.h"
#include "media_protocol/time_map.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/files/folder.h"

namespace quorvin {

/// A resource together with its file in the library.
class StoredResource : public PHAssetResource {
 public:
  StoredResource(PHAssetResourceType type, std::string originalFilename,
                 std::string uniformTypeIdentifier, HeldFile file, std::string path,
                 int orientation)
      : PHAssetResource(type, std::move(originalFilename), std::move(uniformTypeIdentifier)),
        file(std::move(file)),
        path(std::move(path)),
        orientation(orientation) {}

  const HeldFile file;     ///< read-only, and never renamed; to be opened by this alone
  const std::string path;  ///< its absolute path, to be told to others
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
  virtual Result<TimeMap> timeMap(const std::string& localIdentifier) = 0;
};

}  // namespace quorvin
