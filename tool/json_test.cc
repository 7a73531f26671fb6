#include "tool/json.h"

#include <gtest/gtest.h>

#include <limits>

namespace quorvin {
namespace {

Value parsed(std::string_view text) {
  std::string error;
  auto value = valueFromJson(text, error);
  EXPECT_TRUE(value) << error;
  return value ? *std::move(value) : Value();
}

std::string refusal(std::string_view text) {
  std::string error;
  EXPECT_FALSE(valueFromJson(text, error)) << text;
  EXPECT_NE(error, "") << text;
  return error;
}

TEST(ValueFromJson, AnIntegerIsAnIntegerAndANumberWithAFractionOrExponentADouble) {
  EXPECT_EQ(parsed("256"), Value(256));
  EXPECT_EQ(parsed("-5"), Value(-5));
  EXPECT_EQ(parsed("256.0"), Value(256.0));
  EXPECT_EQ(parsed("1e3"), Value(1000.0));
  EXPECT_EQ(parsed("9223372036854775807"), Value(std::numeric_limits<std::int64_t>::max()));
  EXPECT_EQ(parsed("-9223372036854775808"), Value(std::numeric_limits<std::int64_t>::min()));
}

TEST(ValueFromJson, AnIntegerBetween63And64BitsIsALargeOne) {
  EXPECT_EQ(parsed("18446744073709551615"), Value(LargeInteger{"ffffffffffffffff"}));
}

TEST(ValueFromJson, RefusesIntegersBeyond64Bits) {
  EXPECT_EQ(refusal("18446744073709551616"), "an integer is beyond 64 bits");
  EXPECT_EQ(refusal("[-9223372036854775809]"), "an integer is beyond 64 bits");
}

TEST(ValueFromJson, KeepsNestingAndTheOrderOfKeys) {
  EXPECT_EQ(parsed(R"({"b": [1, null, {"c": true}], "a": "text"})"),
            Value(Map{{"b", List{1, Null{}, Map{{"c", true}}}}, {"a", "text"}}));
  EXPECT_EQ(parsed("{}"), Value(Map{}));
  EXPECT_EQ(parsed("[]"), Value(List{}));
}

TEST(ValueFromJson, RefusesWhatIsNoJson) {
  for (const char* text : {"", "{", "[1,", "nul", "{\"a\":1} x", "'a'", "[1] [2]", "\"\xff\""}) {
    refusal(text);
  }
}

TEST(ValueFromJson, RefusesDeepNesting) {
  EXPECT_EQ(refusal(std::string(100'000, '[')), "too deeply nested");
}

TEST(JsonFromValue, PrintsEveryKindOfValue) {
  const Value value(Map{{"null", Null{}},
                        {"truth", true},
                        {"integer", 5},
                        {"double", 2500.0},
                        {"text", "é"},
                        {"large", LargeInteger{"ff"}},
                        {"bytes", ByteBuffer({1, 2, 3})},
                        {"numbers", std::vector<std::int32_t>{1, 2}},
                        {"doubles", std::vector<double>{0.5}},
                        {"list", List{"a", 1}},
                        {"nan", std::numeric_limits<double>::quiet_NaN()},
                        {5, "by number"}});
  EXPECT_EQ(jsonFromValue(value).dump(),
            R"({"null":null,"truth":true,"integer":5,"double":2500.0,"text":"é","large":"ff",)"
            R"("bytes":{"bytes":3},"numbers":[1,2],"doubles":[0.5],"list":["a",1],"nan":null,)"
            R"("5":"by number"})");
}

TEST(TextOfJson, EscapesControlCharactersAndReplacesWhatIsNoUtf8) {
  EXPECT_EQ(textOf("é\x1b\x7f\u0080\u009b\u00a0"), "\"é\\u001b\\u007f\\u0080\\u009b\u00a0\"");
  EXPECT_EQ(textOf("not\xffutf8"), "\"not\uFFFDutf8\"");
}

}  // namespace
}  // namespace quorvin
