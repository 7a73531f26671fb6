// What a library's owner may see and settle without going through the plugin.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/photo_library.h"
#include "core/platform/value.h"

namespace quorvin {

struct AlbumSummary {
  std::string localIdentifier;
  std::string title;
  std::int64_t assets = 0;  ///< those that a fetch with default options would list
};

struct LibrarySummary {
  PHAuthorizationStatus status = PHAuthorizationStatus::notDetermined;
  /// Assets that were not deleted, hidden ones and every burst member included.
  std::int64_t photos = 0;
  std::int64_t videos = 0;
  std::int64_t audio = 0;
  std::int64_t others = 0;
  std::int64_t livePhotos = 0;  ///< among the photos
  std::int64_t bursts = 0;
  std::int64_t hidden = 0;
  std::int64_t favorites = 0;
  std::int64_t deleted = 0;        ///< assets that can still be restored
  std::int64_t originalFiles = 0;  ///< of all assets, deleted ones included
  std::int64_t originalBytes = 0;
  std::optional<NSDate> oldest;  ///< creation date
  std::optional<NSDate> newest;
  std::vector<AlbumSummary> smartAlbums;
  std::vector<AlbumSummary> albums;  ///< the user's, in order of creation
};

/// Reads the library as its owner, whatever its authorisation. A missing one is an error.
Result<LibrarySummary> describeLibrary(const std::string& path);

/// Stores the status that every opener without one of its own sees. Makes a missing library.
Result<Null> storeAuthorization(const std::string& path, PHAuthorizationStatus status);

}  // namespace quorvin
