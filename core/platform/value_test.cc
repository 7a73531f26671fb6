#include "core/platform/value.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>

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

ByteBuffer allocated(std::initializer_list<std::uint8_t> bytes) {
  std::uint8_t* filling = nullptr;
  std::optional<ByteBuffer> buffer = ByteBuffer::allocate(bytes.size(), filling);
  EXPECT_TRUE(buffer);
  std::ranges::copy(bytes, filling);
  return *std::move(buffer);
}

TEST(ByteBuffer, TakesAHeaderInFrontWithoutMovingItsBytes) {
  ByteBuffer buffer = allocated({1, 2, 3});
  const std::uint8_t* bytes = buffer.data();
  const auto whole = buffer.takeBehind(std::array<std::uint8_t, 2>{8, 9});
  ASSERT_TRUE(whole);
  EXPECT_EQ(*whole, ByteBuffer({8, 9, 1, 2, 3}));
  EXPECT_EQ(whole->data() + 2, bytes);
  EXPECT_EQ(buffer.size(), 0U);
}

TEST(ByteBuffer, TakesHeadersUntilTheRoomIsUsedUp) {
  ByteBuffer buffer = allocated({1});
  const std::array<std::uint8_t, 40> header{};
  auto longer = buffer.takeBehind(header);
  ASSERT_TRUE(longer);
  EXPECT_FALSE(longer->takeBehind(header));
  EXPECT_EQ(longer->size(), 41U);
}

TEST(ByteBuffer, TakesNoHeaderWhileACopyIsAlive) {
  ByteBuffer buffer = allocated({1, 2});
  const std::array<std::uint8_t, 1> header{7};
  {
    const ByteBuffer copy = buffer;
    EXPECT_FALSE(buffer.takeBehind(header));
    EXPECT_EQ(buffer, copy);
  }
  EXPECT_TRUE(buffer.takeBehind(header));
}

TEST(ByteBuffer, TakesNoHeaderInMemoryThatIsNotItsOwn) {
  const std::array<std::uint8_t, 1> header{7};
  EXPECT_FALSE(ByteBuffer().takeBehind(header));
  EXPECT_FALSE(ByteBuffer({1, 2, 3}).takeBehind(header));
  const auto owner = std::make_shared<const std::array<std::uint8_t, 4>>();
  EXPECT_FALSE(ByteBuffer(owner, *owner).takeBehind(header));
}

TEST(ByteBuffer, CannotBeLongerThanMemory) {
  std::uint8_t* filling = nullptr;
  EXPECT_FALSE(ByteBuffer::allocate(std::numeric_limits<std::size_t>::max(), filling));
}

}  // namespace
}  // namespace quorvin
