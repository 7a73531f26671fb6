#include "core/platform/foundation.h"

#include <gtest/gtest.h>

#include <memory>

namespace quorvin {
namespace {

TEST(ErrorDescription, NamesDomainCodeAndDescriptionInOneLine) {
  const NSError error{"Domain", -7, "It failed."};
  EXPECT_EQ(error.description(), "Error Domain=Domain Code=-7 \"It failed.\"");
}

TEST(ResultOfAnOperation, IsAValueOrAnError) {
  Result<std::string> value = std::string("abc");
  ASSERT_TRUE(value);
  EXPECT_EQ(*value, "abc");
  EXPECT_EQ(value->size(), 3u);

  const Result<std::string> failed = NSError{"Domain", 1, "No."};
  EXPECT_FALSE(failed);
  EXPECT_EQ(failed.error().localizedDescription, "No.");
}

TEST(ResultOfAnOperation, GivesItsValueAway) {
  Result<std::unique_ptr<int>> result = std::make_unique<int>(5);
  const std::unique_ptr<int> taken = *std::move(result);
  EXPECT_EQ(*taken, 5);
}

TEST(FatalErrorDeathTest, PrintsTheReasonAndStopsTheProcess) {
  EXPECT_EXIT(fatalError("the reason"), testing::KilledBySignal(SIGABRT),
              "^Fatal error: the reason\n");
}

}  // namespace
}  // namespace quorvin
