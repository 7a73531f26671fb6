#include "codec/message_reader.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "codec/utf8.h"

namespace quorvin {
namespace {

bool isHexadecimalDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// Puts what was read in the place of a null, which holds nothing that would be lost. To assign it
/// would make it elsewhere first.
template <class T>
void put(Value& place, T&& held) {
  std::construct_at(&place, std::forward<T>(held));
}

}  // namespace

bool MessageReader::readByte(std::uint8_t& byte) {
  return readNumber(byte);
}

bool MessageReader::readValue(Value& value) {
  return readValue(value, nullptr);
}

bool MessageReader::readValue(Value& value, const Value* before) {
  std::uint8_t type = 0;
  return readByte(type) && readBody(static_cast<WireType>(type), value, before);
}

bool MessageReader::readBody(WireType type, Value& value, const Value* before) {
  switch (type) {
    case WireType::null:
      return true;
    case WireType::trueValue:
    case WireType::falseValue:
      put(value, type == WireType::trueValue);
      return true;
    case WireType::int32: {
      std::int32_t number = 0;
      if (!readNumber(number)) return false;
      put(value, std::int64_t{number});
      return true;
    }
    case WireType::int64: {
      std::int64_t number = 0;
      if (!readNumber(number)) return false;
      put(value, number);
      return true;
    }
    case WireType::float64: {
      double number = 0;
      if (!skipPadding(sizeof number) || !readNumber(number)) return false;
      put(value, number);
      return true;
    }
    case WireType::string: {
      std::string_view text;
      if (!readText(text) || !isUtf8(text)) return false;
      put(value, text);
      return true;
    }
    case WireType::largeInteger:
      return readLargeInteger(value);
    case WireType::byteBuffer:
      return readByteBuffer(value);
    case WireType::int32List:
      return readNumbers<std::int32_t>(value);
    case WireType::int64List:
      return readNumbers<std::int64_t>(value);
    case WireType::float64List:
      return readNumbers<double>(value);
    case WireType::float32List:
      return readNumbers<float>(value);
    case WireType::list:
      return readList(value);
    case WireType::map:
      return readMap(value, before == nullptr ? nullptr : before->as<Map>());
  }
  return false;
}

bool MessageReader::readSize(std::size_t& size) {
  std::uint8_t first = 0;
  if (!readByte(first)) return false;
  if (first == kTwoByteSize) {
    std::uint16_t wide = 0;
    if (!readNumber(wide)) return false;
    size = wide;
  } else if (first == kFourByteSize) {
    std::uint32_t wide = 0;
    if (!readNumber(wide)) return false;
    size = wide;
  } else {
    size = first;
  }
  return true;
}

bool MessageReader::readText(std::string_view& text) {
  std::size_t size = 0;
  if (!readSize(size) || !has(size)) return false;
  text = {reinterpret_cast<const char*>(message_.data()) + offset_, size};
  offset_ += size;
  return true;
}

bool MessageReader::readLargeInteger(Value& value) {
  std::string_view digits;
  if (!readText(digits) || digits.empty()) return false;
  if (!std::ranges::all_of(digits, isHexadecimalDigit) || !afford(1, kBoxCost)) return false;
  put(value, LargeInteger{std::string(digits)});
  return true;
}

bool MessageReader::readByteBuffer(Value& value) {
  std::size_t size = 0;
  if (!readSize(size) || !has(size) || !afford(1, kBoxCost)) return false;
  const auto bytes = message_.subspan(offset_, size);
  offset_ += size;
  put(value, ByteBuffer(std::vector<std::uint8_t>(bytes.begin(), bytes.end())));
  return true;
}

bool MessageReader::readList(Value& value) {
  std::size_t size = 0;
  if (!readSize(size) || !has(size) || nesting_ == kMaximumNesting) return false;
  if (!afford(1, kBoxCost) || !afford(size, sizeof(Value))) return false;
  List list;
  list.reserve(size);
  owed_ += size;
  ++nesting_;
  for (std::size_t i = 0; i < size; ++i) {
    --owed_;
    const Value* before = i == 0 ? nullptr : &list.back();
    if (!readValue(list.emplace_back(), before)) return false;
  }
  --nesting_;
  put(value, std::move(list));
  return true;
}

bool MessageReader::readMap(Value& value, const Map* before) {
  std::size_t size = 0;
  if (!readSize(size) || !has(2 * size) || nesting_ == kMaximumNesting) return false;
  if (!afford(1, kBoxCost) || !afford(size, sizeof(Map::value_type))) return false;
  Map map;
  map.reserve(size);
  owed_ += 2 * size;
  ++nesting_;
  for (std::size_t i = 0; i < size; ++i) {
    auto& [key, entry] = map.emplace_back();
    --owed_;
    if (before != nullptr && i < before->size() && skipText((*before)[i].first)) {
      put(key, (*before)[i].first);
    } else if (!readValue(key)) {
      return false;
    }
    --owed_;
    if (!readValue(entry)) return false;
  }
  --nesting_;
  put(value, std::move(map));
  return true;
}

bool MessageReader::skipText(const Value& text) {
  const std::string_view expected = text.text();
  if (!text.isText() || expected.size() >= kTwoByteSize || !has(2 + expected.size())) return false;
  const std::uint8_t* at = message_.data() + offset_;
  if (at[0] != static_cast<std::uint8_t>(WireType::string) || at[1] != expected.size() ||
      std::memcmp(at + 2, expected.data(), expected.size()) != 0) {
    return false;
  }
  offset_ += 2 + expected.size();
  return true;
}

bool MessageReader::afford(std::size_t count, std::size_t each) {
  if (count > affordable_ / each) return false;
  affordable_ -= count * each;
  return true;
}

template <class Number>
bool MessageReader::readNumber(Number& number) {
  if (!has(sizeof number)) return false;
  std::memcpy(&number, message_.data() + offset_, sizeof number);
  offset_ += sizeof number;
  return true;
}

template <class Number>
bool MessageReader::readNumbers(Value& value) {
  std::size_t size = 0;
  if (!readSize(size)) return false;
  // Some writers leave out the padding of an empty list; at the message's end nothing is lost.
  if (size > 0 || !atEnd()) {
    if (!skipPadding(sizeof(Number))) return false;
  }
  if (!has(size * sizeof(Number)) || !afford(1, kBoxCost)) return false;
  std::vector<Number> numbers(size);
  if (size > 0) std::memcpy(numbers.data(), message_.data() + offset_, size * sizeof(Number));
  offset_ += size * sizeof(Number);
  put(value, std::move(numbers));
  return true;
}

bool MessageReader::skipPadding(std::size_t alignment) {
  const std::size_t padding = paddingAt(offset_, alignment);
  if (!has(padding)) return false;
  offset_ += padding;
  return true;
}

}  // namespace quorvin
