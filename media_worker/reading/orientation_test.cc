#include "media_worker/reading/orientation.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

constexpr Turn kMirrored{-1, 0, 0, 1};
constexpr Turn kClockwise{0, 1, -1, 0};

TEST(OrientationOf, NumbersTurnsAndMirrorings) {
  EXPECT_EQ(orientationOf({}), 1);
  EXPECT_EQ(orientationOf(kMirrored), 2);
  EXPECT_EQ(orientationOf(combined(kClockwise, kClockwise)), 3);
  EXPECT_EQ(orientationOf(kClockwise), 6);
  EXPECT_EQ(orientationOf(combined(kClockwise, combined(kClockwise, kClockwise))), 8);
}

TEST(OrientationOf, AppliesTheFirstTurnFirst) {
  EXPECT_EQ(orientationOf(combined(kClockwise, kMirrored)), 5);
  EXPECT_EQ(orientationOf(combined(kMirrored, kClockwise)), 7);
}

TEST(OrientationOf, TakesWhatIsNoQuarterTurnForUpright) {
  EXPECT_EQ(orientationOf({0, 0, 0, 0}), 1);
  EXPECT_EQ(orientationOf({2, 0, 0, 2}), 1);
}

TEST(UprightSize, ExchangesSidesForQuarterTurns) {
  for (int orientation = 1; orientation <= 4; ++orientation) {
    EXPECT_EQ(uprightSize(4, 3, orientation), (std::pair<std::int64_t, std::int64_t>(4, 3)));
  }
  for (int orientation = 5; orientation <= 8; ++orientation) {
    EXPECT_EQ(uprightSize(4, 3, orientation), (std::pair<std::int64_t, std::int64_t>(3, 4)));
  }
}

}  // namespace
}  // namespace quorvin
