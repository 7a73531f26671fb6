// What waits for its turn together, so that nothing else holds it up.
#pragma once

#include <cstddef>

#include "media_protocol/requests.h"

namespace quorvin {

enum class WorkerLane {
  looks,    ///< small pictures that somebody waits for
  chores,   ///< probes, conversions, large pictures
  exports,  ///< of videos: the worker tells now and then how far it is
};
inline constexpr std::size_t kWorkerLanes = 3;

/// Of a rendering.
WorkerLane laneOf(const RenderRequest& request);
/// Of an encoding of these pixels.
WorkerLane laneOf(const PixelLayout& layout);

}  // namespace quorvin
