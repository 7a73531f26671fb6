#include "testing/engine/message_vectors.h"

#include <limits>
#include <string>
#include <utility>

namespace quorvin {
namespace {

std::vector<std::uint8_t> joined(std::string_view headDigits, std::vector<std::uint8_t> tail) {
  std::vector<std::uint8_t> message = fromHexadecimal(headDigits);
  message.insert(message.end(), tail.begin(), tail.end());
  return message;
}

std::vector<std::uint8_t> repeated(std::size_t count, std::uint8_t byte) {
  return std::vector<std::uint8_t>(count, byte);
}

ByteBuffer buffer(std::vector<std::uint8_t> bytes) {
  return ByteBuffer(std::move(bytes));
}

void addNumbers(std::vector<MessageVector<Value>>& vectors) {
  const auto add = [&vectors](std::string_view name, Value value, std::string_view digits) {
    vectors.push_back({name, std::move(value), fromHexadecimal(digits)});
  };
  add("null", Null{}, "00");
  add("true", true, "01");
  add("false", false, "02");
  add("0", 0, "0300000000");
  add("1", 1, "0301000000");
  add("-1", -1, "03ffffffff");
  add("253", 253, "03fd000000");
  add("254", 254, "03fe000000");
  add("255", 255, "03ff000000");
  add("65536", 65536, "0300000100");
  add("greatest of 32 bits", std::int64_t{2147483647}, "03ffffff7f");
  add("least of 32 bits", std::int64_t{-2147483648}, "0300000080");
  add("one above 32 bits", std::int64_t{2147483648}, "040000008000000000");
  add("one below 32 bits", std::int64_t{-2147483649}, "04ffffff7fffffffff");
  add("greatest of 64 bits", std::numeric_limits<std::int64_t>::max(), "04ffffffffffffff7f");
  add("least of 64 bits", std::numeric_limits<std::int64_t>::min(), "040000000000000080");
  add("large integer", LargeInteger{"1fFfFfFfFfFfFfFfF0"},
      "0512316646664666466646664666466646664630");
  add("0.0", 0.0, "06000000000000000000000000000000");
  add("-0.0", -0.0, "06000000000000000000000000000080");
  add("pi", 3.14159265358979, "0600000000000000112d4454fb210940");
  add("infinity", std::numeric_limits<double>::infinity(), "0600000000000000000000000000f07f");
  add("seconds", 1700000000.5, "060000000000000000002040fc54d941");
}

void addTextsAndBytes(std::vector<MessageVector<Value>>& vectors) {
  const auto add = [&vectors](std::string_view name, Value value,
                              std::vector<std::uint8_t> message) {
    vectors.push_back({name, std::move(value), std::move(message)});
  };
  add("empty text", "", fromHexadecimal("0700"));
  add("a", "a", fromHexadecimal("070161"));
  add("hello world", "hello world", fromHexadecimal("070b68656c6c6f20776f726c64"));
  add("two, three and four bytes a character", "\u00E9\u263A\U0001F602",
      fromHexadecimal("0709c3a9e298baf09f9882"));
  add("text with NUL", std::string("a\0b", 3), fromHexadecimal("0703610062"));
  add("literal", Literal{"ok"}, fromHexadecimal("07026f6b"));
  add("largest size of one byte", std::string(253, 'a'), joined("07fd", repeated(253, 'a')));
  add("first size of two bytes", std::string(254, 'a'), joined("07fefe00", repeated(254, 'a')));
  add("255 characters", std::string(255, 'a'), joined("07feff00", repeated(255, 'a')));
  add("256 characters", std::string(256, 'a'), joined("07fe0001", repeated(256, 'a')));
  add("no bytes", buffer({}), fromHexadecimal("0800"));
  add("four bytes", buffer({1, 2, 3, 255}), fromHexadecimal("0804010203ff"));
  add("last size of two bytes", buffer(repeated(65535, 0)), joined("08feffff", repeated(65535, 0)));
  add("first size of four bytes", buffer(repeated(65536, 0)),
      joined("08ff00000100", repeated(65536, 0)));
}

void addListsAndMaps(std::vector<MessageVector<Value>>& vectors) {
  const auto add = [&vectors](std::string_view name, Value value, std::string_view digits) {
    vectors.push_back({name, std::move(value), fromHexadecimal(digits)});
  };
  using Int32s = std::vector<std::int32_t>;
  add("empty 32-bit list", Int32s{}, "09000000");
  add("empty 32-bit list within a list", List{true, Int32s{}, 7}, "0c030109000000000307000000");
  add("32-bit list", Int32s{-1, 0, 1}, "09030000ffffffff0000000001000000");
  add("64-bit list", std::vector<std::int64_t>{-1, 1},
      "0a02000000000000ffffffffffffffff0100000000000000");
  add("single-precision list", std::vector<float>{1.0F, -2.5F}, "0e0200000000803f000020c0");
  add("double-precision list", std::vector<double>{1.0, -2.5},
      "0b02000000000000000000000000f03f00000000000004c0");
  add("empty list", List{}, "0c00");
  add("list of many types", List{Null{}, true, 1, 2.5, "x"},
      "0c0500010301000000060000000000000000000000000440070178");
  add("padding that differs", List{1.0, 2.0},
      "0c02060000000000000000000000f03f06000000000000000000000000000040");
  add("double at an odd offset", List{true, 1.0}, "0c02010600000000000000000000f03f");
  add("lists in lists", List{List{1}, List{2, List{3}}},
      "0c020c0103010000000c0203020000000c010303000000");
  vectors.push_back({"254 nulls", List(254), joined("0cfefe00", repeated(254, 0))});
  add("empty map", Map{}, "0d00");
  add("map of one", Map{{"a", 1}}, "0d010701610301000000");
  add("map of three", Map{{"a", 1}, {"b", 2.5}, {"c", Null{}}},
      "0d030701610301000000070162060000000000000000044007016300");
  add("integer keys", Map{{1, "one"}, {2, "two"}}, "0d02030100000007036f6e650302000000070374776f");
  add("map in a map", Map{{"m", Map{{"l", List{1, 2}}}}},
      "0d0107016d0d0107016c0c0203010000000302000000");
  add("bytes in a map", Map{{"d", buffer({9, 8, 7})}}, "0d010701640803090807");
}

}  // namespace

std::vector<std::uint8_t> fromHexadecimal(std::string_view digits) {
  const auto digit = [](char c) { return c <= '9' ? c - '0' : c - 'a' + 10; };
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(static_cast<std::uint8_t>(digit(digits[i]) * 16 + digit(digits[i + 1])));
  }
  return bytes;
}

std::vector<MessageVector<Value>> valueVectors() {
  std::vector<MessageVector<Value>> vectors;
  addNumbers(vectors);
  addTextsAndBytes(vectors);
  addListsAndMaps(vectors);
  return vectors;
}

std::vector<MessageVector<FlutterMethodCall>> callVectors() {
  return {
      {"no arguments", {"ping", Null{}}, fromHexadecimal("070470696e6700")},
      {"an integer", {"ping", 7}, fromHexadecimal("070470696e670307000000")},
      {"a map",
       {"open", Map{{"id", "abc"}, {"w", 256}}},
       fromHexadecimal("07046f70656e0d020702696407036162630701770300010000")},
      {"alignment that counts the name",
       {"at", 1.5},
       fromHexadecimal("0702617406000000000000000000f83f")},
  };
}

std::vector<MessageVector<Value>> successVectors() {
  return {
      {"null", Null{}, fromHexadecimal("0000")},
      {"true", true, fromHexadecimal("0001")},
      {"42", 42, fromHexadecimal("00032a000000")},
      {"text", "ok", fromHexadecimal("0007026f6b")},
      {"a double's alignment counts the envelope", 2.5,
       fromHexadecimal("00060000000000000000000000000440")},
      {"bytes", buffer({1, 2, 3}), fromHexadecimal("000803010203")},
      {"a list's alignment counts the envelope", std::vector<std::int32_t>{1},
       fromHexadecimal("0009010001000000")},
      {"empty list", List{}, fromHexadecimal("000c00")},
      {"list of maps", List{Map{{"id", "a"}, {"t", 1.0}}},
       fromHexadecimal("000c010d020702696407016107017406000000000000f03f")},
  };
}

std::vector<MessageVector<FlutterError>> errorVectors() {
  return {
      {"code alone", {"E", "", Null{}}, fromHexadecimal("010701450000")},
      {"message", {"E", "m", Null{}}, fromHexadecimal("0107014507016d00")},
      {"details", {"E", "m", 7}, fromHexadecimal("0107014507016d0307000000")},
      {"details that are a map",
       {"not_found", "no such item", Map{{"k", 1}}},
       fromHexadecimal("0107096e6f745f666f756e64070c6e6f2073756368206974656d"
                       "0d0107016b0301000000")},
  };
}

std::vector<MessageVector<Value>> receivedValueVectors() {
  return {
      {"64 bits where 32 would do", 5, fromHexadecimal("040500000000000000")},
      {"size in a longer form", "a", fromHexadecimal("07fe010061")},
      {"size in the longest form", "a", fromHexadecimal("07ff0100000061")},
      {"empty list without padding", std::vector<std::int32_t>{}, fromHexadecimal("0900")},
      {"keys in no order", Map{{"b", 1}, {"a", 2}},
       fromHexadecimal("0d0207016203010000000701610302000000")},
      {"key that repeats", Map{{"a", 1}, {"a", 2}},
       fromHexadecimal("0d0207016103010000000701610302000000")},
  };
}

std::vector<MessageVector<FlutterError>> receivedErrorVectors() {
  return {
      {"stack trace", {"E", "m", Null{}}, fromHexadecimal("0107014507016d0007026174")},
      {"no stack trace", {"E", "m", Null{}}, fromHexadecimal("0107014507016d0000")},
  };
}

}  // namespace quorvin
