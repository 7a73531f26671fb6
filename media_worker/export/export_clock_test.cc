#include "media_worker/export/export_clock.h"

#include <gtest/gtest.h>

#include <limits>

extern "C" {
#include <libavutil/rational.h>
}

namespace quorvin {
namespace {

using std::chrono::milliseconds;

constexpr AVRational kMillisecond{1, 1000};
constexpr AVRational kTick{1, 90'000};

const TimeMap kMap{{milliseconds(100), milliseconds(100), milliseconds(400)},
                   {milliseconds(300), milliseconds(100), milliseconds(50)}};

std::int64_t played(const ExportClock& clock, std::int64_t time) {
  return clock.played(time, kMillisecond, kMillisecond);
}

TEST(ExportClock, OnlyMovesTheBeginningWithoutAMap) {
  const ExportClock clock(1'500'000, {});
  EXPECT_TRUE(clock.keepsSpeed());
  EXPECT_EQ(played(clock, 1600), 100);
  EXPECT_EQ(clock.extended(1400, kMillisecond, kTick), -9000);
  EXPECT_EQ(clock.firstNeeded(), 0);
  EXPECT_EQ(clock.lastNeeded(), std::numeric_limits<std::int64_t>::max());
}

TEST(ExportClock, StretchesInsideASegment) {
  const ExportClock clock(0, kMap);
  EXPECT_EQ(played(clock, 100), 0);
  EXPECT_EQ(played(clock, 150), 200);
  EXPECT_EQ(played(clock, 300), 400);
  EXPECT_EQ(played(clock, 350), 425);
  EXPECT_EQ(clock.end(kMillisecond), 450);
}

TEST(ExportClock, StandsStillOutsideTheSegments) {
  const ExportClock clock(0, kMap);
  EXPECT_EQ(played(clock, 0), 0);
  EXPECT_EQ(played(clock, 200), 400);
  EXPECT_EQ(played(clock, 299), 400);
  EXPECT_EQ(played(clock, 400), 450);
  EXPECT_EQ(played(clock, 1000), 450);
}

TEST(ExportClock, GoesOnAtTheSameSpeedBeforeAndAfter) {
  const ExportClock clock(0, kMap);
  EXPECT_EQ(clock.extended(50, kMillisecond, kMillisecond), -200);
  EXPECT_EQ(clock.extended(500, kMillisecond, kMillisecond), 500);
}

TEST(ExportClock, NoticesGaps) {
  EXPECT_FALSE(ExportClock(0, kMap).hasNoGaps());
  EXPECT_TRUE(ExportClock(0, {}).hasNoGaps());
  EXPECT_TRUE(ExportClock(0, {{milliseconds(0), milliseconds(100), milliseconds(100)},
                              {milliseconds(101), milliseconds(100), milliseconds(100)}})
                  .hasNoGaps());
}

TEST(ExportClock, TellsWhatIsNeededOfTheSource) {
  const ExportClock clock(5'000'000, kMap);
  EXPECT_EQ(clock.firstNeeded(), 100'000);
  EXPECT_EQ(clock.lastNeeded(), 400'000);
}

}  // namespace
}  // namespace quorvin
