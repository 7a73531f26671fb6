// The files by which assets are shown.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// The file that shows the present version of a photo or video.
struct ShownFile {
  std::int64_t asset = 0;
  bool isVideo = false;
  std::int64_t width = 0;  ///< pixels, upright
  std::int64_t height = 0;
  std::string path;  ///< relative to `originals/`
};

/// Those of the assets, not deleted, with rows below `before` and above `after`, whose longer side
/// has so many pixels or more: a few of them, the last one first. None when they cannot be read.
std::optional<std::vector<ShownFile>> shownFiles(Database& database, std::int64_t before,
                                                 std::int64_t after, std::int64_t leastSide);
/// How many of them there are with rows above `after`.
std::optional<std::int64_t> countShownFiles(Database& database, std::int64_t after,
                                            std::int64_t leastSide);

/// The row of the asset that was added last, deleted ones included; 0 when there is none.
std::int64_t lastAsset(Database& database);

/// The files of deleted assets, relative to `originals/`.
std::vector<std::string> trashedFiles(Database& database);

}  // namespace quorvin
