#include "tool/serve/reading/request_target.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

using Path = std::vector<std::string>;

TEST(RequestTarget, HasAPathAndAQuery) {
  const auto target = readTarget("/asset/AB%2FL0%2F001/thumbnail?size=64&x&name=a%20b%26c=d");
  ASSERT_TRUE(target);
  EXPECT_EQ(target->path, (Path{"asset", "AB/L0/001", "thumbnail"}));
  ASSERT_NE(target->parameter("size"), nullptr);
  EXPECT_EQ(*target->parameter("size"), "64");
  EXPECT_EQ(*target->parameter("x"), "");
  EXPECT_EQ(*target->parameter("name"), "a b&c=d");
  EXPECT_EQ(target->parameter("other"), nullptr);
}

TEST(RequestTarget, HasBlanksInItsQueryAsFormsSendThem) {
  const auto target = readTarget("/a+b?name=c+d%2Be&f+g");
  ASSERT_TRUE(target);
  EXPECT_EQ(target->path, Path{"a+b"});
  EXPECT_EQ(*target->parameter("name"), "c d+e");
  EXPECT_NE(target->parameter("f g"), nullptr);
}

TEST(RequestTarget, OfTheRootHasOneEmptyPart) {
  EXPECT_EQ(readTarget("/")->path, Path{""});
  EXPECT_EQ(readTarget("/?token=x")->path, Path{""});
  EXPECT_EQ(readTarget("/a/")->path, (Path{"a", ""}));
  EXPECT_EQ(readTarget("//")->path, (Path{"", ""}));
}

TEST(RequestTarget, DotsLeadNowhereElse) {
  EXPECT_EQ(readTarget("/asset/../page")->path, (Path{"asset", "..", "page"}));
  EXPECT_EQ(readTarget("/asset/..%2F..%2Fetc/original")->path,
            (Path{"asset", "../../etc", "original"}));
}

TEST(RequestTarget, IsNotReadWhereItIsMalformed) {
  for (const std::string_view target :
       {"", "a", "http://127.0.0.1/", "*", "/%", "/%4", "/%4G", "/%G4", "/?a=%", "/?%ZZ=a", "/%00",
        "/a%0D%0Ab", "/%7F", "/%FF", "/%C0%AF", "/%ED%A0%80"}) {
    EXPECT_FALSE(readTarget(target)) << target;
  }
}

TEST(PercentEncoding, IsDecodedOnce) {
  EXPECT_EQ(percentDecoded("%2541"), "%41");
  EXPECT_EQ(percentDecoded("a+b"), "a+b");
  EXPECT_EQ(percentDecoded("%C3%a4"), "ä");
}

TEST(PercentEncoding, LeavesPlainCharacters) {
  EXPECT_EQ(percentEncoded("IMG-1_2.~jpg"), "IMG-1_2.~jpg");
  EXPECT_EQ(percentEncoded("ä b\"%/"), "%C3%A4%20b%22%25%2F");
}

}  // namespace
}  // namespace quorvin
