// Takes values out of a message that anybody may have made.
#ifndef QUORVIN_CLIENT_MESSAGE_READER_HPP_
#define QUORVIN_CLIENT_MESSAGE_READER_HPP_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <quorvin/client/errors.hpp>
#include <quorvin/client/value.hpp>
#include <quorvin/client/wire_format.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvin {
namespace client {

/// Reads values in order. Every read throws a `MalformedMessageError` when what follows is
/// malformed; the reader is of no further use then. What it allocates is bounded by the message's
/// own size, whatever sizes the message claims.
class MessageReader {
 public:
  /// The message must outlive the reader.
  explicit MessageReader(BytesView message)
      : message_(message), affordable_(kFreeCost + kCostPerByte * message.size) {}

  bool atEnd() const { return offset_ == message_.size; }

  void expectEnd() const {
    if (!atEnd()) fail("something follows the value");
  }

  [[noreturn]] void fail(const char* reason) const { throw MalformedMessageError(reason, offset_); }

  std::uint8_t readByte() { return *take(1); }

  Value readValue() {
    const std::uint8_t type = readByte();
    switch (static_cast<WireType>(type)) {
      case WireType::null:
        return {};
      case WireType::trueValue:
        return true;
      case WireType::falseValue:
        return false;
      case WireType::int32:
        return readNumber<std::int32_t>();
      case WireType::int64:
        return readNumber<std::int64_t>();
      case WireType::largeInteger:
        return readLargeInteger();
      case WireType::float64:
        skipPadding(sizeof(double));
        return readNumber<double>();
      case WireType::string:
        return readText();
      case WireType::byteBuffer:
        return readBytes();
      case WireType::int32List:
        return readNumbers<std::int32_t>();
      case WireType::int64List:
        return readNumbers<std::int64_t>();
      case WireType::float64List:
        return readNumbers<double>();
      case WireType::float32List:
        return readNumbers<float>();
      case WireType::list:
        return readList();
      case WireType::map:
        return readMap();
    }
    --offset_;
    fail("no value has this type");
  }

 private:
  /// Bytes that lists and maps may take in memory: so many for any message, and so many for each of
  /// its bytes. A null is one byte in a message and many in a list.
  static constexpr std::size_t kFreeCost = std::size_t{16} << 20;
  static constexpr std::size_t kCostPerByte = 16;

  template <class Number>
  Number readNumber() {
    Number number;
    std::memcpy(&number, take(sizeof number), sizeof number);
    return number;
  }

  std::size_t readSize() {
    const std::uint8_t first = readByte();
    if (first == kTwoByteSize) return readNumber<std::uint16_t>();
    if (first == kFourByteSize) return readNumber<std::uint32_t>();
    return first;
  }

  std::string_view readCharacters() {
    const std::size_t size = readSize();
    return {reinterpret_cast<const char*>(take(size)), size};
  }

  std::string readText() {
    const std::string_view text = readCharacters();
    if (!isUtf8(text)) fail("the text is not UTF-8");
    return std::string(text);
  }

  LargeInteger readLargeInteger() {
    const std::string_view digits = readCharacters();
    if (!isHexadecimal(digits)) fail("a large integer has other than hexadecimal digits");
    return {std::string(digits)};
  }

  Bytes readBytes() {
    const std::size_t size = readSize();
    const std::uint8_t* bytes = take(size);
    return Bytes(bytes, bytes + size);
  }

  template <class Number>
  std::vector<Number> readNumbers() {
    const std::size_t count = readSize();
    // Some writers leave out the padding of an empty list; at the message's end nothing is lost.
    if (count > 0 || !atEnd()) skipPadding(sizeof(Number));
    const std::uint8_t* bytes = take(count * sizeof(Number));
    std::vector<Number> numbers(count);
    if (count > 0) std::memcpy(numbers.data(), bytes, count * sizeof(Number));
    return numbers;
  }

  List readList() {
    const std::size_t size = readSize();
    enter(size, size * sizeof(List::value_type));
    List list;
    list.reserve(size);
    for (std::size_t i = 0; i < size; ++i) list.push_back(readValue());
    --nesting_;
    return list;
  }

  Map readMap() {
    const std::size_t size = readSize();
    enter(2 * size, size * sizeof(Map::value_type));
    Map map;
    map.reserve(size);
    for (std::size_t i = 0; i < size; ++i) {
      Value key = readValue();
      map.emplace_back(std::move(key), readValue());
    }
    --nesting_;
    return map;
  }

  /// Begins a list or map of so many values, each of at least one byte.
  void enter(std::size_t values, std::size_t cost) {
    require(values);
    if (++nesting_ > kMaximumNesting) fail("too many lists and maps lie within one another");
    if (cost > affordable_) fail("it would take many times its size in memory");
    affordable_ -= cost;
  }

  void skipPadding(std::size_t alignment) { take(paddingAt(offset_, alignment)); }

  /// Passes over the bytes and returns where they begin.
  const std::uint8_t* take(std::size_t count) {
    require(count);
    const std::uint8_t* begin = message_.data + offset_;
    offset_ += count;
    return begin;
  }

  void require(std::size_t count) const {
    if (count > message_.size - offset_) fail("it ends too early");
  }

  BytesView message_;
  std::size_t offset_ = 0;
  std::size_t affordable_;
  int nesting_ = 0;
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_MESSAGE_READER_HPP_
