#include "platform_linux/videos/slow_motion.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace quorvin {

namespace {

/// The least rates of slow motion, in frames a second. Stored rates are averages, and the 120 of
/// many cameras is 120000/1001; capture rates are what the camera was set to.
constexpr double kLeastRate = 119;
constexpr double kLeastCaptureRate = 120;

/// More than a day and a half, and many times what any camera takes in slow motion: what claims to
/// be longer is no number of seconds to calculate with.
constexpr double kLongest = 150'000;  // seconds

}  // namespace

bool isSlowMotion(const MediaProbe& video) {
  return video.kind == MediaKind::video &&
         (video.frameRate >= kLeastRate || video.captureFrameRate >= kLeastCaptureRate);
}

TimeMap slowMotionTimeMap(const MediaProbe& video) {
  using std::chrono::nanoseconds;
  // A capture rate of its own says that the video was stored slowed down.
  if (video.kind != MediaKind::video || video.captureFrameRate != 0 ||
      !(video.frameRate >= kLeastRate) || !(video.duration > 0 && video.duration < kLongest)) {
    return {};
  }
  const auto rounded = [](double seconds) { return nanoseconds(std::llround(seconds * 1e9)); };
  const nanoseconds whole = rounded(video.duration);
  const nanoseconds edge = rounded(std::min(video.duration * 0.2, 1.0));
  const nanoseconds middle = whole - 2 * edge;
  if (edge.count() == 0 || middle.count() == 0) return {};
  const double stretch =
      std::min(video.frameRate / kSlowMotionPlayRate, static_cast<double>(kMaximumTimeScale));
  const nanoseconds slow(std::llround(static_cast<double>(middle.count()) * stretch));
  return {{nanoseconds(0), edge, edge}, {edge, middle, slow}, {whole - edge, edge, edge}};
}

}  // namespace quorvin
