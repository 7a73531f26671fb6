#include "media_protocol/time_map.h"

namespace quorvin {

namespace {

// So that sums and products of times stay far within their type.
constexpr std::chrono::hours kLongest(24 * 7);

}  // namespace

bool isPlayable(const TimeMap& map) {
  if (map.size() > kMaximumTimeMapSegments) return false;
  std::chrono::nanoseconds sourceEnd{};
  std::chrono::nanoseconds targetEnd{};
  for (const TimeMapSegment& each : map) {
    const auto source = each.sourceDuration;
    const auto target = each.targetDuration;
    if (each.sourceStart < sourceEnd || each.sourceStart > kLongest) return false;
    if (source.count() <= 0 || source > kLongest) return false;
    if (target.count() <= 0 || target > kLongest) return false;
    if (source / kMaximumTimeScale > target || target / kMaximumTimeScale > source) return false;
    sourceEnd = each.sourceStart + source;
    targetEnd += target;
    if (targetEnd > kLongest) return false;
  }
  return true;
}

}  // namespace quorvin
