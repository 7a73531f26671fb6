// Turned and mirrored pictures.
#pragma once

#include <cstdint>
#include <utility>

namespace quorvin {

/// Where a point of the stored picture goes, with x to the right and y down:
/// x' = a·x + c·y, y' = b·x + d·y. Only quarter turns and mirrorings occur.
struct Turn {
  int a = 1;
  int b = 0;
  int c = 0;
  int d = 1;
};

/// `first`, then `second`.
Turn combined(const Turn& first, const Turn& second);

/// The Exif orientation, 1 to 8, of a stored picture that the turn makes upright; 1 when it is no
/// quarter turn.
int orientationOf(const Turn& turn);

/// Whether an Exif orientation exchanges width and height.
inline bool exchangesSides(int orientation) {
  return orientation >= 5 && orientation <= 8;
}

/// The upright size of stored pixels.
inline std::pair<std::int64_t, std::int64_t> uprightSize(std::int64_t width, std::int64_t height,
                                                         int orientation) {
  return exchangesSides(orientation) ? std::pair(height, width) : std::pair(width, height);
}

}  // namespace quorvin
