// Videos as the library stores them.
#pragma once

#include <string>
#include <utility>

#include "core/platform/media.h"
#include "media_protocol/time_map.h"
#include "platform_linux/files/folder.h"

namespace quorvin {

/// One video file that plays as it is.
class LinuxVideo final : public AVURLAsset {
 public:
  LinuxVideo(std::string path, HeldFile file)
      : AVURLAsset(std::move(path)), file(std::move(file)) {}

  const HeldFile file;  ///< to be opened by this, and not by its path
};

/// One video file, of which parts play, each at a speed of its own.
class LinuxComposition final : public AVComposition {
 public:
  LinuxComposition(HeldFile source, TimeMap map)
      : source(std::move(source)), timeMap(std::move(map)) {}

  const HeldFile source;
  const TimeMap timeMap;  ///< not empty
};

}  // namespace quorvin
