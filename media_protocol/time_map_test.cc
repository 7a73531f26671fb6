#include "media_protocol/time_map.h"

#include <gtest/gtest.h>

#include <limits>

namespace quorvin {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

TimeMapSegment segment(nanoseconds start, nanoseconds source, nanoseconds target) {
  return {start, source, target};
}

TEST(TimeMap, IsPlayableWhenItIsEmpty) {
  EXPECT_TRUE(isPlayable({}));
}

TEST(TimeMap, IsPlayableInTheSourcesOrderWithOrWithoutGaps) {
  EXPECT_TRUE(isPlayable({segment(seconds(0), seconds(1), seconds(4)),
                          segment(seconds(1), seconds(1), milliseconds(500)),
                          segment(seconds(5), seconds(1), seconds(1))}));
}

TEST(TimeMap, IsNotPlayableBackwardsOrTwice) {
  EXPECT_FALSE(isPlayable(
      {segment(seconds(1), seconds(1), seconds(1)), segment(seconds(0), seconds(1), seconds(1))}));
  EXPECT_FALSE(isPlayable(
      {segment(seconds(0), seconds(2), seconds(1)), segment(seconds(1), seconds(1), seconds(1))}));
  EXPECT_FALSE(isPlayable({segment(seconds(-1), seconds(1), seconds(1))}));
}

TEST(TimeMap, IsNotPlayableWithoutLength) {
  EXPECT_FALSE(isPlayable({segment(seconds(0), seconds(0), seconds(1))}));
  EXPECT_FALSE(isPlayable({segment(seconds(0), seconds(1), seconds(0))}));
  EXPECT_FALSE(isPlayable({segment(seconds(0), seconds(-1), seconds(1))}));
}

TEST(TimeMap, IsNotPlayableBeyondTheLimits) {
  EXPECT_TRUE(isPlayable({segment(seconds(0), seconds(1), seconds(100))}));
  EXPECT_FALSE(isPlayable({segment(seconds(0), seconds(1), seconds(102))}));
  EXPECT_FALSE(isPlayable({segment(seconds(0), seconds(102), seconds(1))}));
  EXPECT_FALSE(isPlayable({segment(hours(200), seconds(1), seconds(1))}));
  EXPECT_FALSE(isPlayable({segment(seconds(0), nanoseconds::max(), nanoseconds::max())}));
  EXPECT_FALSE(isPlayable(
      {segment(seconds(0), hours(100), hours(100)), segment(hours(100), hours(100), hours(100))}));
}

TEST(TimeMap, IsNotPlayableWithTooManySegments) {
  TimeMap map;
  for (std::size_t i = 0; i < kMaximumTimeMapSegments; ++i) {
    map.push_back(segment(seconds(i), seconds(1), seconds(1)));
  }
  EXPECT_TRUE(isPlayable(map));
  map.push_back(segment(seconds(2000), seconds(1), seconds(1)));
  EXPECT_FALSE(isPlayable(map));
}

}  // namespace
}  // namespace quorvin
