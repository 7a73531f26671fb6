#include "media_worker/reading/orientation.h"

#include <iterator>

namespace quorvin {

Turn combined(const Turn& first, const Turn& second) {
  return {second.a * first.a + second.c * first.b, second.b * first.a + second.d * first.b,
          second.a * first.c + second.c * first.d, second.b * first.c + second.d * first.d};
}

int orientationOf(const Turn& turn) {
  constexpr Turn kTurns[] = {{1, 0, 0, 1}, {-1, 0, 0, 1}, {-1, 0, 0, -1}, {1, 0, 0, -1},
                             {0, 1, 1, 0}, {0, 1, -1, 0}, {0, -1, -1, 0}, {0, -1, 1, 0}};
  for (int index = 0; index < static_cast<int>(std::size(kTurns)); ++index) {
    const Turn& known = kTurns[index];
    if (turn.a == known.a && turn.b == known.b && turn.c == known.c && turn.d == known.d) {
      return index + 1;
    }
  }
  return 1;
}

}  // namespace quorvin
