#include "platform_linux/library/values/identifiers.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace quorvin {
namespace {

const std::string kUuidPattern =
    "[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}";

TEST(Identifiers, OfAssetsEndInTheAssetMark) {
  EXPECT_TRUE(std::regex_match(newAssetIdentifier(), std::regex(kUuidPattern + "/L0/001")));
}

TEST(Identifiers, OfCollectionsEndInTheCollectionMark) {
  EXPECT_TRUE(std::regex_match(newCollectionIdentifier(), std::regex(kUuidPattern + "/L0/040")));
}

TEST(Identifiers, NeverRepeat) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) seen.insert(newUuid());
  EXPECT_EQ(seen.size(), 1000U);
}

}  // namespace
}  // namespace quorvin
