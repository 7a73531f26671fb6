#include "platform_linux/images/linux_composition.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

using namespace std::chrono_literals;

TEST(SlowMotionSegments, StretchAllButASecondAtEachEnd) {
  EXPECT_EQ(slowMotionSegments(10, 120),
            (CompositionSegments{{0s, 1s, 1s}, {1s, 8s, 32s}, {9s, 1s, 1s}}));
  EXPECT_EQ(slowMotionSegments(10, 240),
            (CompositionSegments{{0s, 1s, 1s}, {1s, 8s, 64s}, {9s, 1s, 1s}}));
}

TEST(SlowMotionSegments, StretchAllButAFifthAtEachEndOfAShortVideo) {
  EXPECT_EQ(
      slowMotionSegments(2, 120),
      (CompositionSegments{{0s, 400ms, 400ms}, {400ms, 1200ms, 4800ms}, {1600ms, 400ms, 400ms}}));
}

TEST(SlowMotionSegments, AbutAndCoverTheWholeSource) {
  for (const double duration : {0.001, 0.333333333, 1.7, 5.0, 123.456789}) {
    std::chrono::nanoseconds end{};
    for (const CompositionSegment& each : slowMotionSegments(duration, 120000.0 / 1001)) {
      EXPECT_EQ(each.sourceStart, end);
      EXPECT_GT(each.sourceDuration, 0ns);
      EXPECT_GE(each.targetDuration, each.sourceDuration);
      end += each.sourceDuration;
    }
    EXPECT_NEAR(std::chrono::duration<double>(end).count(), duration, 1e-9);
  }
}

}  // namespace
}  // namespace quorvin
