#include "codec/message_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "codec/utf8.h"

namespace quorvin {
namespace {

bool isHexadecimalDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

bool MessageReader::readByte(std::uint8_t& byte) {
  return readNumber(byte);
}

bool MessageReader::readValue(Value& value) {
  std::uint8_t type = 0;
  return readByte(type) && readBody(static_cast<WireType>(type), value);
}

bool MessageReader::readBody(WireType type, Value& value) {
  switch (type) {
    case WireType::null:
      value = Null{};
      return true;
    case WireType::trueValue:
    case WireType::falseValue:
      value = type == WireType::trueValue;
      return true;
    case WireType::int32: {
      std::int32_t number = 0;
      if (!readNumber(number)) return false;
      value = std::int64_t{number};
      return true;
    }
    case WireType::int64: {
      std::int64_t number = 0;
      if (!readNumber(number)) return false;
      value = number;
      return true;
    }
    case WireType::float64: {
      double number = 0;
      if (!skipPadding(sizeof number) || !readNumber(number)) return false;
      value = number;
      return true;
    }
    case WireType::string: {
      std::string text;
      if (!readText(text) || !isUtf8(text)) return false;
      value = std::move(text);
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
      return readMap(value);
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

bool MessageReader::readText(std::string& text) {
  std::size_t size = 0;
  if (!readSize(size) || !has(size)) return false;
  text.assign(reinterpret_cast<const char*>(message_.data()) + offset_, size);
  offset_ += size;
  return true;
}

bool MessageReader::readLargeInteger(Value& value) {
  LargeInteger number;
  if (!readText(number.hexadecimal) || number.hexadecimal.empty()) return false;
  if (!std::ranges::all_of(number.hexadecimal, isHexadecimalDigit)) return false;
  value = std::move(number);
  return true;
}

bool MessageReader::readByteBuffer(Value& value) {
  std::size_t size = 0;
  if (!readSize(size) || !has(size)) return false;
  const auto bytes = message_.subspan(offset_, size);
  offset_ += size;
  value = ByteBuffer(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  return true;
}

bool MessageReader::readList(Value& value) {
  std::size_t size = 0;
  if (!readSize(size) || !has(size) || nesting_ == kMaximumNesting) return false;
  if (!afford(size, sizeof(Value))) return false;
  List list;
  list.reserve(size);
  owed_ += size;
  ++nesting_;
  for (std::size_t i = 0; i < size; ++i) {
    --owed_;
    if (!readValue(list.emplace_back())) return false;
  }
  --nesting_;
  value = std::move(list);
  return true;
}

bool MessageReader::readMap(Value& value) {
  std::size_t size = 0;
  if (!readSize(size) || !has(2 * size) || nesting_ == kMaximumNesting) return false;
  if (!afford(size, sizeof(Map::value_type))) return false;
  Map map;
  map.reserve(size);
  owed_ += 2 * size;
  ++nesting_;
  for (std::size_t i = 0; i < size; ++i) {
    auto& [key, entry] = map.emplace_back();
    --owed_;
    if (!readValue(key)) return false;
    --owed_;
    if (!readValue(entry)) return false;
  }
  --nesting_;
  value = std::move(map);
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
  if (!has(size * sizeof(Number))) return false;
  std::vector<Number> numbers(size);
  if (size > 0) std::memcpy(numbers.data(), message_.data() + offset_, size * sizeof(Number));
  offset_ += size * sizeof(Number);
  value = std::move(numbers);
  return true;
}

bool MessageReader::skipPadding(std::size_t alignment) {
  const std::size_t padding = paddingAt(offset_, alignment);
  if (!has(padding)) return false;
  offset_ += padding;
  return true;
}

}  // namespace quorvin
