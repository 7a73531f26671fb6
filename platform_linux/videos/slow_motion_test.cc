#include "platform_linux/videos/slow_motion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace quorvin {
namespace {

using namespace std::chrono_literals;

MediaProbe video(double duration, double frameRate, double captureFrameRate = 0) {
  MediaProbe probe;
  probe.kind = MediaKind::video;
  probe.duration = duration;
  probe.frameRate = frameRate;
  probe.captureFrameRate = captureFrameRate;
  return probe;
}

TEST(SlowMotion, BeginsAt120FramesASecondAsCamerasCountThem) {
  EXPECT_TRUE(isSlowMotion(video(1, 120000.0 / 1001)));
  EXPECT_TRUE(isSlowMotion(video(1, 240)));
  EXPECT_TRUE(isSlowMotion(video(1, 30, 120)));
  EXPECT_FALSE(isSlowMotion(video(1, 60)));
  EXPECT_FALSE(isSlowMotion(video(1, 30, 60)));
  MediaProbe still = video(1, 240);
  still.kind = MediaKind::image;
  EXPECT_FALSE(isSlowMotion(still));
}

TEST(SlowMotionTimeMap, StretchesAllButASecondAtEachEnd) {
  EXPECT_EQ(slowMotionTimeMap(video(10, 120)),
            (TimeMap{{0s, 1s, 1s}, {1s, 8s, 32s}, {9s, 1s, 1s}}));
  EXPECT_EQ(slowMotionTimeMap(video(10, 240)),
            (TimeMap{{0s, 1s, 1s}, {1s, 8s, 64s}, {9s, 1s, 1s}}));
}

TEST(SlowMotionTimeMap, StretchesAllButAFifthAtEachEndOfAShortVideo) {
  EXPECT_EQ(slowMotionTimeMap(video(2, 120)),
            (TimeMap{{0s, 400ms, 400ms}, {400ms, 1200ms, 4800ms}, {1600ms, 400ms, 400ms}}));
}

TEST(SlowMotionTimeMap, AbutsAndCoversTheWholeSource) {
  for (const double duration : {0.001, 0.333333333, 1.7, 5.0, 123.456789}) {
    std::chrono::nanoseconds end{};
    for (const TimeMapSegment& each : slowMotionTimeMap(video(duration, 120000.0 / 1001))) {
      EXPECT_EQ(each.sourceStart, end);
      EXPECT_GT(each.sourceDuration, 0ns);
      EXPECT_GE(each.targetDuration, each.sourceDuration);
      end += each.sourceDuration;
    }
    EXPECT_NEAR(std::chrono::duration<double>(end).count(), duration, 1e-9);
  }
}

TEST(SlowMotionTimeMap, IsEmptyForWhatPlaysAsItIs) {
  EXPECT_TRUE(slowMotionTimeMap(video(10, 60)).empty());
  EXPECT_TRUE(slowMotionTimeMap(video(10, 30, 240)).empty());
  EXPECT_TRUE(slowMotionTimeMap(video(10, 240, 240)).empty());
  MediaProbe sound = video(10, 240);
  sound.kind = MediaKind::audio;
  EXPECT_TRUE(slowMotionTimeMap(sound).empty());
}

TEST(SlowMotionTimeMap, IsEmptyForADurationThatIsNone) {
  constexpr double kInfinite = std::numeric_limits<double>::infinity();
  for (const double duration : {0.0, -1.0, 1e-10, 1e300, kInfinite, std::nan("")}) {
    EXPECT_TRUE(slowMotionTimeMap(video(duration, 240)).empty()) << duration;
  }
}

TEST(SlowMotionTimeMap, NeverStretchesMoreThanAnExportCan) {
  const TimeMap map = slowMotionTimeMap(video(10, 1e9));
  ASSERT_EQ(map.size(), 3U);
  EXPECT_EQ(map[1].targetDuration, 8s * kMaximumTimeScale);
}

}  // namespace
}  // namespace quorvin
