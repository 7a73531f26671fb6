#include "platform_linux/media/worker_lane.h"

namespace quorvin {

namespace {

constexpr std::size_t kMostLookedAt = 4'000'000;  ///< pixels, of a large screen

}  // namespace

WorkerLane laneOf(const RenderRequest& request) {
  const bool isSmall =
      request.fit != RenderRequest::Fit::original && request.targetWidth > 0 &&
      request.targetWidth * request.targetHeight <= static_cast<double>(kMostLookedAt);
  return isSmall ? WorkerLane::looks : WorkerLane::chores;
}

WorkerLane laneOf(const PixelLayout& layout) {
  return layout.pixelCount() <= kMostLookedAt ? WorkerLane::looks : WorkerLane::chores;
}

}  // namespace quorvin
