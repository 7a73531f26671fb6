// Videos whose playing speed changes.
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "core/platform/media.h"

namespace quorvin {

/// A stretch of the source, and the time that it takes to play.
struct CompositionSegment {
  std::chrono::nanoseconds sourceStart{};
  std::chrono::nanoseconds sourceDuration{};
  std::chrono::nanoseconds targetDuration{};
  friend bool operator==(const CompositionSegment&, const CompositionSegment&) = default;
};

using CompositionSegments = std::vector<CompositionSegment>;

/// One video file, played in segments of different speed; its sound follows the same segments. They
/// abut in the source and cover it from 0 to its end, and play one after another.
class LinuxComposition final : public AVComposition {
 public:
  LinuxComposition(std::string path, CompositionSegments parts)
      : sourcePath(std::move(path)), segments(std::move(parts)) {}

  const std::string sourcePath;  ///< absolute
  const CompositionSegments segments;
};

/// The rate that slow motion is slowed down to, in frames a second.
inline constexpr double kSlowMotionPlayRate = 30;

/// The least capture rate of slow motion, in frames a second: 120000/1001 and 120 count.
inline constexpr double kSlowMotionLeastRate = 119;

/// The first and last fifth of the video, a second at most, play as they were taken; what lies
/// between plays at `kSlowMotionPlayRate`. `duration` is in seconds and positive, `frameRate` in
/// frames a second.
CompositionSegments slowMotionSegments(double duration, double frameRate);

}  // namespace quorvin
