// Turned and mirrored pictures.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

namespace quorvin {

/// Where a point of the stored picture goes, with x to the right and y down:
/// x' = a·x + c·y, y' = b·x + d·y. Only quarter turns and mirrorings occur.
struct Turn {
  int a = 1;
  int b = 0;
  int c = 0;
  int d = 1;
  friend bool operator==(const Turn&, const Turn&) = default;
};

/// So many quarter turns against the clock.
inline Turn quarterTurns(std::uint64_t count) {
  constexpr Turn kTurns[] = {{1, 0, 0, 1}, {0, -1, 1, 0}, {-1, 0, 0, -1}, {0, 1, -1, 0}};
  return kTurns[count % std::size(kTurns)];
}

/// Left and right change places, or else top and bottom.
inline Turn mirroring(bool leftAndRight) {
  return leftAndRight ? Turn{-1, 0, 0, 1} : Turn{1, 0, 0, -1};
}

/// `first`, then `second`.
inline Turn combined(const Turn& first, const Turn& second) {
  return {second.a * first.a + second.c * first.b, second.b * first.a + second.d * first.b,
          second.a * first.c + second.c * first.d, second.b * first.c + second.d * first.d};
}

/// The Exif orientation, 1 to 8, of a stored picture that the turn makes upright; 1 when it is no
/// quarter turn.
inline int orientationOf(const Turn& turn) {
  constexpr Turn kTurns[] = {{1, 0, 0, 1}, {-1, 0, 0, 1}, {-1, 0, 0, -1}, {1, 0, 0, -1},
                             {0, 1, 1, 0}, {0, 1, -1, 0}, {0, -1, -1, 0}, {0, -1, 1, 0}};
  const auto* const found = std::find(std::begin(kTurns), std::end(kTurns), turn);
  return found == std::end(kTurns) ? 1 : static_cast<int>(found - std::begin(kTurns)) + 1;
}

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
