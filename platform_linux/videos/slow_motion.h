// Which videos are slow motion, and how they play.
#pragma once

#include "media_protocol/time_map.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

/// The rate that slow motion is slowed down to, in frames a second.
inline constexpr double kSlowMotionPlayRate = 30;

/// Whether the video was taken at a rate that makes it slow motion, at whatever rate it is stored.
bool isSlowMotion(const MediaProbe& video);

/// The first and last fifth of the video, a second at most, play as they were taken; what lies
/// between plays at `kSlowMotionPlayRate`. Empty for a video that is no slow motion, or that was
/// stored slowed down already.
TimeMap slowMotionTimeMap(const MediaProbe& video);

}  // namespace quorvin
