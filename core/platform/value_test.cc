#include "core/platform/value.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

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

TEST(Value, TextsOfAnyLengthOutliveWhatTheyWereMadeOf) {
  for (const std::size_t length : {0, 1, 13, 14, 15, 16, 255, 256, 70'000}) {
    std::string text(length, 'x');
    if (!text.empty()) text.back() = 'y';
    auto value = std::make_unique<Value>(text);
    const Value copy = *value;
    const Value moved = std::move(*value);
    value.reset();
    EXPECT_TRUE(copy.isText());
    EXPECT_EQ(copy.text(), text);
    EXPECT_EQ(moved, copy);
  }
}

TEST(Value, ACopyOfALongTextSharesIt) {
  const Value text(std::string(100, 'x'));
  const Value copy = text;
  EXPECT_EQ(copy.text().data(), text.text().data());
}

TEST(Value, ChangingACopyOfAListLeavesTheOther) {
  Value list(List{1, Map{{"k", "v"}}});
  Value copy = list;
  copy.as<List>()->push_back("more");
  *copy.as<List>()->front().as<std::int64_t>() = 2;
  EXPECT_EQ(list, Value(List{1, Map{{"k", "v"}}}));
  EXPECT_EQ(copy, Value(List{2, Map{{"k", "v"}}, "more"}));
}

TEST(Value, MayBeGivenAPartOfItself) {
  // A list in braces around a list alone would be a copy of it, with some compilers.
  Value nested(List{Value(List{"deep"})});
  nested = Value(nested.as<List>()->front());
  EXPECT_EQ(nested, Value(List{"deep"}));
  nested = std::move(nested.as<List>()->front());
  EXPECT_EQ(nested, Value("deep"));
  const Value& itself = nested;
  nested = itself;
  EXPECT_EQ(nested, Value("deep"));
}

TEST(Value, CallsAVisitorWithWhatItHolds) {
  const auto isList = [](const auto& held) {
    return std::is_same_v<std::decay_t<decltype(held)>, List>;
  };
  EXPECT_TRUE(Value(List{}).visit(isList));
  EXPECT_FALSE(Value(Map{}).visit(isList));
  const auto textLength = [](const auto& held) -> std::size_t {
    if constexpr (std::is_same_v<std::decay_t<decltype(held)>, std::string_view>) {
      return held.size();
    }
    return 0;
  };
  EXPECT_EQ(Value("short").visit(textLength), 5U);
  EXPECT_EQ(Value(std::string(20, 'l')).visit(textLength), 20U);
  EXPECT_EQ(Value("constant"_lit).visit(textLength), 8U);
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
