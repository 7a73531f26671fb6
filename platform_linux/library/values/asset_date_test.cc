#include "platform_linux/library/values/asset_date.h"

#include <gtest/gtest.h>

#include <random>

namespace quorvin {
namespace {

std::int64_t milliseconds(std::int64_t nanoseconds) {
  return static_cast<std::int64_t>(dateFromNanoseconds(nanoseconds).timeIntervalSince1970() *
                                   1000.0);
}

TEST(AssetDate, KeepsEveryMillisecondUnderTruncation) {
  std::mt19937_64 random(1);
  std::uniform_int_distribution<std::int64_t> any(-4'000'000'000'000, 4'000'000'000'000);
  for (int i = 0; i < 200'000; ++i) {
    const std::int64_t wanted = any(random);
    ASSERT_EQ(milliseconds(wanted * 1'000'000), wanted);
  }
}

TEST(AssetDate, KeepsTheMillisecondOfAnyNanosecond) {
  std::mt19937_64 random(2);
  std::uniform_int_distribution<std::int64_t> any(INT64_MIN, INT64_MAX);
  for (int i = 0; i < 200'000; ++i) {
    const std::int64_t wanted = any(random);
    ASSERT_EQ(milliseconds(wanted), wanted / 1'000'000);
  }
}

TEST(AssetDate, TruncatesTowardsZeroOnBothSidesOf1970) {
  EXPECT_EQ(milliseconds(1'999'900), 1);
  EXPECT_EQ(milliseconds(-1'500'000), -1);
  EXPECT_EQ(milliseconds(0), 0);
}

}  // namespace
}  // namespace quorvin
