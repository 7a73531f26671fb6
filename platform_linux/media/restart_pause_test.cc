#include "platform_linux/media/restart_pause.h"

#include <gtest/gtest.h>

#include <vector>

namespace quorvin {
namespace {

using std::chrono::milliseconds;

const RestartPause::Clock::time_point kNow{std::chrono::hours(1)};

/// What is left of the pause after each of so many deaths.
std::vector<milliseconds::rep> pausesAfter(int deaths) {
  RestartPause pause;
  std::vector<milliseconds::rep> pauses;
  for (int i = 0; i < deaths; ++i) {
    const auto now = std::max(kNow, pause.end());
    pause.died(now, false);
    pauses.push_back(
        std::chrono::duration_cast<milliseconds>(std::max(now, pause.end()) - now).count());
  }
  return pauses;
}

TEST(RestartPause, GrowsTwofoldUpToFiveSeconds) {
  EXPECT_EQ(pausesAfter(13), (std::vector<milliseconds::rep>{0, 0, 0, 50, 100, 200, 400, 800, 1600,
                                                             3200, 5000, 5000, 5000}));
}

TEST(RestartPause, IsOverAfterASuccess) {
  RestartPause pause;
  for (int i = 0; i < 20; ++i) pause.died(kNow, true);
  EXPECT_GT(pause.end(), kNow);
  EXPECT_TRUE(pause.isHopeless());
  pause.succeeded();
  EXPECT_LT(pause.end(), kNow);
  EXPECT_FALSE(pause.isHopeless());
  pause.died(kNow, true);
  EXPECT_LT(pause.end(), kNow);
}

TEST(RestartPause, KeepsStartsApartAlsoWhereManyWait) {
  RestartPause pause;
  for (int i = 0; i <= RestartPause::kFreeDeaths; ++i) pause.died(kNow, false);
  const auto later = pause.end();
  pause.started(later);
  EXPECT_EQ(pause.end(), later + RestartPause::kShortest);
}

TEST(RestartPause, IsHopelessOnlyWhereWorkersDoNotEvenStart) {
  RestartPause pause;
  for (int i = 0; i < 20; ++i) pause.died(kNow, false);
  EXPECT_FALSE(pause.isHopeless());
  for (int i = 0; i <= RestartPause::kFreeDeaths; ++i) {
    EXPECT_FALSE(pause.isHopeless());
    pause.died(kNow, true);
  }
  EXPECT_TRUE(pause.isHopeless());
}

}  // namespace
}  // namespace quorvin
