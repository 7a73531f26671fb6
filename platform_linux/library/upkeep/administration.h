// What a library's owner may see and settle without going through the plugin.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/photo_library.h"
#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/fetch/totals.h"

namespace quorvin {

struct AlbumSummary {
  std::string localIdentifier;
  std::string title;
  std::int64_t assets = 0;  ///< those that a fetch with default options would list
};

struct LibrarySummary : CatalogueTotals {
  PHAuthorizationStatus status = PHAuthorizationStatus::notDetermined;
  std::vector<AlbumSummary> smartAlbums;
  std::vector<AlbumSummary> albums;  ///< the user's, in order of creation
  std::int64_t previews = 0;         ///< pictures that have previews
  std::int64_t previewsWanted =
      0;  ///< pictures that are large enough to want some, and can have them
  std::int64_t previewBytes = 0;
};

/// Reads the library as its owner, whatever its authorisation. A missing one is an error.
Result<LibrarySummary> describeLibrary(const std::string& path);

/// The titles of the user's albums, in order of creation. A missing library is an error.
Result<std::vector<std::string>> albumTitlesOf(const std::string& path);

/// Stores the status that every opener without one of its own sees. Makes a missing library.
Done storeAuthorization(const std::string& path, PHAuthorizationStatus status);

}  // namespace quorvin
