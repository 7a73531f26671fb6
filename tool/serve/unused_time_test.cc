#include "tool/serve/unused_time.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(UnusedTime, BeginsAtOnce) {
  const UnusedTime::Time begin{};
  UnusedTime unused(begin);
  EXPECT_FALSE(unused.isOver(begin, false));
  EXPECT_FALSE(unused.isOver(begin + kLongestUnused - kLookAtUse, false));
  EXPECT_TRUE(unused.isOver(begin + kLongestUnused, false));
}

TEST(UnusedTime, BeginsAnewWithEachUse) {
  const UnusedTime::Time begin{};
  UnusedTime unused(begin);
  const auto used = begin + 10 * kLongestUnused;
  EXPECT_FALSE(unused.isOver(used, true));
  EXPECT_FALSE(unused.isOver(used + kLongestUnused - kLookAtUse, false));
  EXPECT_TRUE(unused.isOver(used + kLongestUnused, false));
}

}  // namespace
}  // namespace quorvin
