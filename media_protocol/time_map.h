// Which part of a video plays at which speed.
#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

namespace quorvin {

/// A stretch of the source, and the time that it takes to play. Neither duration is zero.
struct TimeMapSegment {
  std::chrono::nanoseconds sourceStart{};
  std::chrono::nanoseconds sourceDuration{};
  std::chrono::nanoseconds targetDuration{};
  friend bool operator==(const TimeMapSegment&, const TimeMapSegment&) = default;
};

/// Segments in the order of playing, which is their order in the source, without gaps between them
/// when they play; what no segment covers does not play. Sound follows the same segments. Empty:
/// the whole source plays as it is.
using TimeMap = std::vector<TimeMapSegment>;

inline constexpr std::size_t kMaximumTimeMapSegments = 1'000;
/// No segment plays so many times slower, or faster, than the source.
inline constexpr int kMaximumTimeScale = 100;

/// Whether an export can follow the map: no more segments than that, in the source's order and
/// apart, neither slower nor faster than that, and no longer than some days in all.
bool isPlayable(const TimeMap& map);

}  // namespace quorvin
