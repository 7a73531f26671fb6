// The caller's choice of a video's container.
#pragma once

#include <cstdint>
#include <optional>

namespace quorvin {

/// `Original` and `Mov` ask for QuickTime, `Mp4` for MPEG-4.
enum class VideoFormat : std::int64_t { Original = 0, Mov = 1, Mp4 = 2 };

constexpr std::optional<VideoFormat> videoFormatFromRawValue(std::int64_t rawValue) {
  if (rawValue < 0 || rawValue > 2) return std::nullopt;
  return static_cast<VideoFormat>(rawValue);
}

}  // namespace quorvin
