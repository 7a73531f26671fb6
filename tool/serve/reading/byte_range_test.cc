#include "tool/serve/reading/byte_range.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

RangeAnswer part(std::uint64_t first, std::uint64_t size) {
  return ByteRange{first, size};
}

TEST(ByteRange, IsAPartOfTheFile) {
  EXPECT_EQ(readRange("bytes=0-0", 10), part(0, 1));
  EXPECT_EQ(readRange("bytes=2-4", 10), part(2, 3));
  EXPECT_EQ(readRange("bytes=2-", 10), part(2, 8));
  EXPECT_EQ(readRange("bytes=0-", 10), part(0, 10));
  EXPECT_EQ(readRange("bytes=-3", 10), part(7, 3));
}

TEST(ByteRange, EndsWithTheFile) {
  EXPECT_EQ(readRange("bytes=9-100", 10), part(9, 1));
  EXPECT_EQ(readRange("bytes=-100", 10), part(0, 10));
  EXPECT_EQ(readRange("bytes=0-99999999999999999999999", 10), part(0, 10));
  EXPECT_EQ(readRange("bytes=-99999999999999999999999", 10), part(0, 10));
}

TEST(ByteRange, MayBeWhereNothingIs) {
  for (const char* header :
       {"bytes=10-", "bytes=10-20", "bytes=99999999999999999999999-", "bytes=-0"}) {
    EXPECT_EQ(readRange(header, 10), RangeAnswer(NoSuchRange{})) << header;
  }
  EXPECT_EQ(readRange("bytes=0-", 0), RangeAnswer(NoSuchRange{}));
  EXPECT_EQ(readRange("bytes=-1", 0), RangeAnswer(NoSuchRange{}));
}

TEST(ByteRange, IsPassedOverWhenItIsNone) {
  for (const char* header :
       {"", "bytes", "bytes=", "bytes=-", "bytes=4-2", "bytes=a-b", "bytes=0-1,3-4", "items=0-1",
        "bytes=0x0-1", "bytes= 0-1", "bytes=+0-1", "bytes=0--1", "bytes=--1", "bytes=0"}) {
    EXPECT_EQ(readRange(header, 10), RangeAnswer(WholeFile{})) << header;
  }
}

}  // namespace
}  // namespace quorvin
