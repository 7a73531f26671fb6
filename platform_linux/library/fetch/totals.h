// How much a library holds.
#pragma once

#include <cstdint>
#include <optional>

#include "core/platform/foundation.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

struct CatalogueTotals {
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
};

/// All of one moment, inside a `ReadTransaction`. None when they cannot be read.
std::optional<CatalogueTotals> readTotals(Database& database);

}  // namespace quorvin
