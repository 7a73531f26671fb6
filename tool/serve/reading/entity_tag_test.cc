#include "tool/serve/reading/entity_tag.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(EntityTag, DependsOnEachPart) {
  const std::string tag = entityTagOf({"thumbnail", "64", "version"});
  EXPECT_EQ(tag, entityTagOf({"thumbnail", "64", "version"}));
  EXPECT_EQ(tag.size(), 34U);
  EXPECT_EQ(tag.front(), '"');
  EXPECT_EQ(tag.back(), '"');
  for (const auto& other :
       {entityTagOf({"thumbnail", "65", "version"}), entityTagOf({"thumbnail", "64", "version2"}),
        entityTagOf({"thumbnail6", "4", "version"}), entityTagOf({"thumbnail", "64"})}) {
    EXPECT_NE(tag, other);
  }
}

TEST(EntityTag, IsNamedAmongOthers) {
  EXPECT_TRUE(namesTag("\"a\"", "\"a\""));
  EXPECT_TRUE(namesTag("W/\"a\"", "\"a\""));
  EXPECT_TRUE(namesTag("\"x\", \"a\" ,\"y\"", "\"a\""));
  EXPECT_TRUE(namesTag("*", "\"a\""));
  EXPECT_FALSE(namesTag("", "\"a\""));
  EXPECT_FALSE(namesTag("\"b\"", "\"a\""));
  EXPECT_FALSE(namesTag("a", "\"a\""));
}

}  // namespace
}  // namespace quorvin
