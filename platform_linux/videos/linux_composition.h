// Videos whose playing speed changes.
#pragma once

#include <string>
#include <utility>

#include "core/platform/media.h"
#include "media_protocol/time_map.h"

namespace quorvin {

/// One video file, of which parts play, each at a speed of its own.
class LinuxComposition final : public AVComposition {
 public:
  LinuxComposition(std::string path, TimeMap map)
      : sourcePath(std::move(path)), timeMap(std::move(map)) {}

  const std::string sourcePath;  ///< absolute
  const TimeMap timeMap;         ///< not empty
};

}  // namespace quorvin
