#include "tests/codec/described_value.h"

#include <bit>
#include <string_view>
#include <vector>

namespace quorvin {
namespace {

using Json = nlohmann::ordered_json;

template <class Bits>
std::string digitsOf(Bits bits) {
  std::string digits;
  for (int shift = 8 * sizeof bits - 4; shift >= 0; shift -= 4) {
    digits += "0123456789abcdef"[bits >> shift & 0xF];
  }
  return digits;
}

std::string digitsOf(float number) {
  return digitsOf(std::bit_cast<std::uint32_t>(number));
}

std::string digitsOf(double number) {
  return digitsOf(std::bit_cast<std::uint64_t>(number));
}

std::string decimal(std::int64_t number) {
  return std::to_string(number);
}

template <class Number>
Json describedList(const char* kind, const std::vector<Number>& numbers,
                   std::string (*describe)(Number)) {
  Json list = Json::array();
  for (const Number number : numbers) list.push_back(describe(number));
  return {{kind, list}};
}

struct Describe {
  Json operator()(Null) const { return nullptr; }
  Json operator()(bool value) const { return value; }
  Json operator()(std::int64_t value) const { return {{"integer", decimal(value)}}; }
  Json operator()(double value) const { return {{"double", digitsOf(value)}}; }
  Json operator()(std::string_view value) const { return value; }
  Json operator()(const LargeInteger& value) const { return {{"largeInteger", value.hexadecimal}}; }
  Json operator()(const ByteBuffer& value) const { return {{"bytes", hexadecimal(value.bytes())}}; }
  Json operator()(const std::vector<std::int32_t>& values) const {
    return describedList<std::int64_t>("int32s", {values.begin(), values.end()}, decimal);
  }
  Json operator()(const std::vector<std::int64_t>& values) const {
    return describedList("int64s", values, decimal);
  }
  Json operator()(const std::vector<float>& values) const {
    return describedList<float>("floats", values, digitsOf);
  }
  Json operator()(const std::vector<double>& values) const {
    return describedList<double>("doubles", values, digitsOf);
  }
  Json operator()(const List& values) const {
    Json list = Json::array();
    for (const Value& value : values) list.push_back(described(value));
    return list;
  }
  Json operator()(const Map& pairs) const {
    Json list = Json::array();
    for (const auto& [key, value] : pairs) {
      list.push_back(Json::array({described(key), described(value)}));
    }
    return {{"map", list}};
  }
};

}  // namespace

std::string hexadecimal(std::span<const std::uint8_t> bytes) {
  std::string digits;
  for (const std::uint8_t byte : bytes) digits += digitsOf(byte);
  return digits;
}

nlohmann::ordered_json described(const Value& value) {
  return value.visit(Describe());
}

}  // namespace quorvin
