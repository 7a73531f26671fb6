#include "platform_linux/images/linux_composition.h"

#include <algorithm>
#include <cmath>

namespace quorvin {

CompositionSegments slowMotionSegments(double duration, double frameRate) {
  using std::chrono::nanoseconds;
  const auto rounded = [](double seconds) { return nanoseconds(std::llround(seconds * 1e9)); };
  const nanoseconds whole = rounded(duration);
  const nanoseconds edge = rounded(std::min(duration * 0.2, 1.0));
  const nanoseconds middle = whole - 2 * edge;
  const double stretch = frameRate / kSlowMotionPlayRate;
  const nanoseconds slow(std::llround(static_cast<double>(middle.count()) * stretch));
  return {{nanoseconds(0), edge, edge}, {edge, middle, slow}, {whole - edge, edge, edge}};
}

}  // namespace quorvin
