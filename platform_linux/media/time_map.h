// Which part of a video plays at which speed.
#pragma once

#include <chrono>
#include <vector>

namespace quorvin {

/// A stretch of the source, and the time that it takes to play. Neither duration is zero.
struct TimeMapSegment {
  std::chrono::nanoseconds sourceStart{};
  std::chrono::nanoseconds sourceDuration{};
  std::chrono::nanoseconds targetDuration{};
  friend bool operator==(const TimeMapSegment&, const TimeMapSegment&) = default;
};

/// Segments in the order of playing, without gaps between them; what no segment covers does not
/// play. Sound follows the same segments. Empty: the whole source plays as it is.
using TimeMap = std::vector<TimeMapSegment>;

}  // namespace quorvin
