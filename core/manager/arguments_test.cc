#include "core/manager/arguments.h"

#include <gtest/gtest.h>

#include <limits>

namespace quorvin {
namespace {

TEST(Arguments, ReadEachKindOfItsOwnType) {
  const Value map = Map{{"text", "a"}, {"flag", true}, {"whole", 5}, {"part", 2.5}};
  const Arguments read(map);
  std::string text;
  bool flag = false;
  std::int64_t whole = 0;
  double number = 0;
  EXPECT_TRUE(read.string("text", text));
  EXPECT_EQ(text, "a");
  EXPECT_TRUE(read.boolean("flag", flag));
  EXPECT_TRUE(flag);
  EXPECT_TRUE(read.integer("whole", whole));
  EXPECT_EQ(whole, 5);
  EXPECT_TRUE(read.number("part", number));
  EXPECT_EQ(number, 2.5);
}

TEST(Arguments, ReadAListOfTexts) {
  const Value map = Map{{"texts", List{"a", "b"_lit, ""}}, {"none", List{}}};
  std::vector<std::string> texts = {"before"};
  EXPECT_TRUE(Arguments(map).strings("texts", texts));
  EXPECT_EQ(texts, (std::vector<std::string>{"a", "b", ""}));
  EXPECT_TRUE(Arguments(map).strings("none", texts));
  EXPECT_TRUE(texts.empty());
}

TEST(Arguments, RefuseAListOfOtherThingsWhole) {
  for (const Value& value : {Value(List{"a", Value(1)}), Value(List{Value(1), "a"}),
                             Value(List{Value()}), Value(List{Value(List{"a"})}),
                             Value(std::vector<std::int32_t>{}), Value(std::vector<double>{1}),
                             Value(ByteBuffer({97})), Value("a"), Value(Map{}), Value()}) {
    const Value map = Map{{"texts", value}};
    std::vector<std::string> texts = {"before"};
    EXPECT_FALSE(Arguments(map).strings("texts", texts));
    EXPECT_FALSE(Arguments(map).strings("missing", texts));
    EXPECT_EQ(texts, std::vector<std::string>{"before"});
  }
}

TEST(Arguments, TakeAnIntegerWhereANumberIsWanted) {
  const Value map = Map{{"whole", std::numeric_limits<std::int64_t>::max()}};
  double number = 0;
  EXPECT_TRUE(Arguments(map).number("whole", number));
  EXPECT_EQ(number, 9223372036854775807.0);
}

TEST(Arguments, TellBooleansIntegersAndDoublesApart) {
  const Value map = Map{{"flag", true}, {"whole", 1}, {"part", 1.0}};
  const Arguments read(map);
  bool flag = false;
  std::int64_t whole = 0;
  double number = 0;
  EXPECT_FALSE(read.boolean("whole", flag));
  EXPECT_FALSE(read.boolean("part", flag));
  EXPECT_FALSE(read.integer("flag", whole));
  EXPECT_FALSE(read.integer("part", whole));
  EXPECT_FALSE(read.number("flag", number));
}

TEST(Arguments, LeaveTheOutputAloneOnAFault) {
  const Value map = Map{{"text", 5}};
  std::string text = "before";
  EXPECT_FALSE(Arguments(map).string("text", text));
  EXPECT_FALSE(Arguments(map).string("missing", text));
  EXPECT_EQ(text, "before");
}

TEST(Arguments, TakeTheLastOfARepeatedKey) {
  const Value map = Map{{"whole", 1}, {"whole", 2}};
  std::int64_t whole = 0;
  EXPECT_TRUE(Arguments(map).integer("whole", whole));
  EXPECT_EQ(whole, 2);
}

TEST(Arguments, KeepTextWithZeroBytesWhole) {
  const std::string odd("a\0b", 3);
  const Value map = Map{{"text", odd}};
  std::string text;
  EXPECT_TRUE(Arguments(map).string("text", text));
  EXPECT_EQ(text, odd);
}

TEST(Arguments, AreNoneWhenAKeyIsNoText) {
  const Value map = Map{{"whole", 1}, {Value(5), Value(1)}};
  std::int64_t whole = 0;
  EXPECT_FALSE(Arguments(map).integer("whole", whole));
}

TEST(Arguments, AreNoneWhenThereIsNoMap) {
  std::int64_t whole = 0;
  for (const Value& value : {Value(), Value(1), Value("whole"), Value(List{Value("whole")})}) {
    EXPECT_FALSE(Arguments(value).integer("whole", whole));
  }
}

}  // namespace
}  // namespace quorvin
