#include "core/platform/foundation.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(ErrorDescription, NamesDomainCodeAndDescriptionInOneLine) {
  const NSError error{"Domain", -7, "It failed."};
  EXPECT_EQ(error.description(), "Error Domain=Domain Code=-7 \"It failed.\"");
}

TEST(FatalErrorDeathTest, PrintsTheReasonAndStopsTheProcess) {
  EXPECT_EXIT(fatalError("the reason"), testing::KilledBySignal(SIGABRT),
              "^Fatal error: the reason\n");
}

}  // namespace
}  // namespace quorvin
