// Deleted assets: for 30 days they can be had back.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/photo_library.h"
#include "core/platform/value.h"
#include "platform_linux/library/catalogue/sqlite.h"

namespace quorvin {

class Catalogue;

inline constexpr std::chrono::days kDaysInTrash{30};

/// Deletes the assets of a list as `listOfRows` makes it; bursts get a new representative where
/// theirs goes. Rows and files stay, so albums get their assets back with them. Inside a change.
/// False when writing failed.
bool trashAssets(Database& database, const std::string& rows);

/// Removes for good what was deleted 30 days ago or earlier. What cannot be done now is left to the
/// next opening.
void purgeTrash(Catalogue& catalogue);

struct TrashedAsset {
  std::string localIdentifier;
  std::string originalFilename;  ///< empty when it has no file
  PHAssetMediaType mediaType = PHAssetMediaType::unknown;
  std::int64_t bytes = 0;  ///< of all its files
  NSDate deleted{0};
  NSDate goneAfter{0};  ///< when it can no longer be restored
};

/// The deleted assets of the library at the path, what was deleted last first.
Result<std::vector<TrashedAsset>> listTrash(const std::string& path);

/// Brings these assets back, with their albums and marks; all of them or, when one is not in the
/// trash, none.
Result<Null> restoreFromTrash(const std::string& path, std::span<const std::string> identifiers);

struct EmptiedTrash {
  std::size_t assets = 0;
  std::int64_t bytes = 0;
};

/// Removes all deleted assets for good, with their files.
Result<EmptiedTrash> emptyTrash(const std::string& path);

}  // namespace quorvin
