// Deleted assets in the catalogue. A deleted asset has the time of its deletion in its row and is
// in no listing; all else stays, its place in albums too, so that it can be had back as it was.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/photo_library.h"
#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

inline constexpr std::chrono::days kDaysInTrash{30};

/// Nanoseconds since 1970, as times of deletion are.
std::int64_t presentTime();

/// Deletes the assets of a list as `listOfRows` makes it; bursts get a new representative where
/// theirs goes. Inside a change. False when writing failed.
bool trashAssets(Database& database, const std::string& rows);

/// Brings these assets back, all of them or, when one is not in the trash, none. Inside a change.
Done restoreAssets(Database& database, std::span<const std::string> identifiers);

struct TrashedAsset {
  std::string localIdentifier;
  std::string originalFilename;  ///< empty when it has no file
  PHAssetMediaType mediaType = PHAssetMediaType::unknown;
  std::int64_t bytes = 0;  ///< of all its files
  NSDate deleted{0};
  NSDate goneAfter{0};  ///< when it can no longer be restored
};
/// What was deleted last first; none when it cannot be read.
std::optional<std::vector<TrashedAsset>> trashedAssets(Database& database);

/// True when anything was deleted at this time or earlier.
bool isAnyTrashed(Database& database, std::int64_t until);

/// Deleted assets that are about to go for good.
struct DoomedAssets {
  std::vector<std::int64_t> rows;
  std::vector<std::string> originals;  ///< relative to `originals/`
  std::int64_t bytes = 0;
};
/// Those that were deleted first, until this time; none when they cannot be read.
std::optional<DoomedAssets> doomedAssets(Database& database, std::int64_t until,
                                         std::size_t atMost);
/// Their rows, and with them all that refers to them. False when writing failed.
bool dropAssets(Database& database, const DoomedAssets& doomed);

/// The clock by which deleted assets go for good: nanoseconds since 1970. A clock that is wrong
/// must not remove anything: the latest time that was believed is kept in the catalogue, and a time
/// far beyond it is believed only when it is still so on a later day.
struct TrashClock {
  std::int64_t latest = 0;   ///< the latest time that was believed; 0: none yet
  std::int64_t doubted = 0;  ///< when a time far beyond it was first seen; 0: there is no doubt

  bool isDoubted() const { return doubted != 0; }
  friend bool operator==(const TrashClock&, const TrashClock&) = default;
};

/// None when it cannot be read.
std::optional<TrashClock> trashClock(Database& database);
/// Inside a change. False when writing failed.
bool storeTrashClock(Database& database, const TrashClock& clock);

/// The clock after it was looked at once more. The same when nothing of it is worth keeping.
TrashClock lookedAt(const TrashClock& before, std::int64_t now);

}  // namespace quorvin
