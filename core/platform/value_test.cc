#include "core/platform/value.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(Value, ABooleanIsNoInteger) {
  EXPECT_EQ(Value(true).as<std::int64_t>(), nullptr);
  EXPECT_NE(Value(true), Value(1));
}

TEST(Value, AnIntegerIsNoDouble) {
  EXPECT_EQ(Value(1).as<double>(), nullptr);
  EXPECT_NE(Value(1), Value(1.0));
}

TEST(Value, ALiteralEqualsAnOwnedTextOfTheSameCharacters) {
  EXPECT_EQ(Value("abc"_lit), Value("abc"));
  EXPECT_EQ(Value("abc"_lit).text(), "abc");
  EXPECT_NE(Value("abc"_lit), Value("abd"));
  EXPECT_NE(Value("1"_lit), Value(1));
}

TEST(Value, EveryKindEqualsItsCopy) {
  const Value kinds[] = {Value(),
                         Value(false),
                         Value(std::int64_t{1} << 40),
                         Value(2.5),
                         Value("literal"_lit),
                         Value(std::string("owned")),
                         Value(LargeInteger{"ffffffffffffffffff"}),
                         Value(ByteBuffer({1, 2, 3})),
                         Value(std::vector<std::int32_t>{1}),
                         Value(std::vector<std::int64_t>{1}),
                         Value(std::vector<float>{1}),
                         Value(std::vector<double>{1}),
                         Value(List{Value(1), Value("a")}),
                         Value(Map{{Value("k"), Value(1)}})};
  for (const Value& a : kinds) {
    for (const Value& b : kinds) {
      EXPECT_EQ(a == b, &a == &b);
    }
    const Value copy = a;
    EXPECT_EQ(copy, a);
  }
}

TEST(Value, FindsTheLastValueUnderARepeatedKey) {
  const Map map{{Value(5), Value(0)}, {Value("k"), Value(1)}, {Value("k"_lit), Value(2)}};
  ASSERT_NE(find(map, "k"), nullptr);
  EXPECT_EQ(*find(map, "k"), Value(2));
  EXPECT_EQ(find(map, "absent"), nullptr);
}

TEST(ByteBuffer, ACopySharesItsBytes) {
  const ByteBuffer buffer({1, 2, 3});
  const ByteBuffer copy = buffer;
  EXPECT_EQ(copy.data(), buffer.data());
  EXPECT_EQ(copy.size(), 3u);
  EXPECT_EQ(ByteBuffer().size(), 0u);
}

}  // namespace
}  // namespace quorvin
