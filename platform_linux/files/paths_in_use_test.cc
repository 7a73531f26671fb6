#include "platform_linux/files/paths_in_use.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(PathsInUse, AreThoseThatAreWritten) {
  PathsInUse paths;
  EXPECT_FALSE(paths.isInUse("/a"));
  {
    const auto use = paths.begin("/a");
    const PathsInUse::Hold another = use.hold;
    EXPECT_TRUE(paths.isInUse("/a"));
    EXPECT_FALSE(paths.isInUse("/b"));
    EXPECT_TRUE(paths.clear("/a").isBeingWritten);
  }
  EXPECT_FALSE(paths.isInUse("/a"));
}

TEST(PathsInUse, EachWhoClearedAPathMayReplaceWhatCameSinceOnce) {
  PathsInUse paths;
  EXPECT_FALSE(paths.begin("/a").mayReplace);
  EXPECT_FALSE(paths.clear("/a").isBeingWritten);
  EXPECT_FALSE(paths.clear("/a").isBeingWritten);
  EXPECT_TRUE(paths.begin("/a").mayReplace);
  EXPECT_TRUE(paths.begin("/a").mayReplace);
  EXPECT_FALSE(paths.begin("/a").mayReplace);
}

TEST(PathsInUse, WhereNothingStoodOneWhoIsAloneHasClearedNothing) {
  PathsInUse paths;
  const auto alone = paths.clear("/a");
  EXPECT_FALSE(paths.wasClearedByAnother("/a", alone));
  paths.takeBack("/a");
  paths.takeBack("/a");
  EXPECT_FALSE(paths.begin("/a").mayReplace);

  const auto one = paths.clear("/a");
  const auto other = paths.clear("/a");
  EXPECT_TRUE(paths.wasClearedByAnother("/a", one));
  EXPECT_TRUE(paths.wasClearedByAnother("/a", other));

  const auto slow = paths.clear("/b");
  paths.clear("/b");
  EXPECT_TRUE(paths.begin("/b").mayReplace);
  EXPECT_TRUE(paths.wasClearedByAnother("/b", slow)) << "who has ended by now";
}

TEST(PathsInUse, ForgetWhoNeverBeganButNotWhoWrites) {
  PathsInUse paths;
  const auto use = paths.begin("/a");
  for (int i = 0; i < 2500; ++i) paths.clear("/" + std::to_string(i));
  EXPECT_TRUE(paths.isInUse("/a"));
  EXPECT_FALSE(paths.begin("/0").mayReplace);
  EXPECT_TRUE(paths.begin("/2499").mayReplace);
}

}  // namespace
}  // namespace quorvin
