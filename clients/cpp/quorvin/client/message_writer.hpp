// Puts values into a message.
#ifndef QUORVIN_CLIENT_MESSAGE_WRITER_HPP_
#define QUORVIN_CLIENT_MESSAGE_WRITER_HPP_

#include <cstddef>
#include <cstdint>
#include <limits>
#include <quorvin/client/errors.hpp>
#include <quorvin/client/value.hpp>
#include <quorvin/client/wire_format.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace quorvin {
namespace client {

/// Writes one value after the other. Throws an `UnencodableValueError` for one without bytes.
class MessageWriter {
 public:
  /// What was written. Nothing can be written any more.
  Bytes take() { return std::move(bytes_); }

  void writeByte(std::uint8_t byte) { bytes_.push_back(byte); }

  void writeValue(const Value& value) {
    std::visit([this](const auto& held) { write(held); }, value.held());
  }

 private:
  void write(Null) { writeType(WireType::null); }
  void write(bool value) { writeType(value ? WireType::trueValue : WireType::falseValue); }

  void write(std::int64_t value) {
    const auto narrow = static_cast<std::int32_t>(value);
    if (narrow == value) {
      writeType(WireType::int32);
      append(&narrow, sizeof narrow);
    } else {
      writeType(WireType::int64);
      append(&value, sizeof value);
    }
  }

  void write(double value) {
    writeType(WireType::float64);
    align(sizeof value);
    append(&value, sizeof value);
  }

  void write(const std::string& text) {
    if (!isUtf8(text)) throw UnencodableValueError("A text that is not UTF-8 cannot be sent.");
    writeHead(WireType::string, text.size());
    append(text.data(), text.size());
  }

  void write(const LargeInteger& value) {
    if (!isHexadecimal(value.hexadecimal)) {
      throw UnencodableValueError("A LargeInteger needs hexadecimal digits.");
    }
    writeHead(WireType::largeInteger, value.hexadecimal.size());
    append(value.hexadecimal.data(), value.hexadecimal.size());
  }

  void write(const Bytes& bytes) {
    writeHead(WireType::byteBuffer, bytes.size());
    append(bytes.data(), bytes.size());
  }

  template <class Number>
  void write(const std::vector<Number>& numbers) {
    writeHead(NumberListType<Number>::value, numbers.size());
    // An empty list is padded too: receivers skip to the alignment before they look at the size.
    align(sizeof(Number));
    append(numbers.data(), numbers.size() * sizeof(Number));
  }

  void write(const List& list) {
    enter(WireType::list, list.size());
    for (const Value& value : list) writeValue(value);
    --nesting_;
  }

  void write(const Map& map) {
    enter(WireType::map, map.size());
    for (const auto& [key, value] : map) {
      writeValue(key);
      writeValue(value);
    }
    --nesting_;
  }

  void enter(WireType type, std::size_t size) {
    if (++nesting_ > kMaximumNesting) {
      throw UnencodableValueError("More than " + std::to_string(kMaximumNesting) +
                                  " lists and maps within one another cannot be sent.");
    }
    writeHead(type, size);
  }

  void writeType(WireType type) { writeByte(static_cast<std::uint8_t>(type)); }

  void writeHead(WireType type, std::size_t size) {
    writeType(type);
    if (size < kTwoByteSize) {
      writeByte(static_cast<std::uint8_t>(size));
    } else if (size <= std::numeric_limits<std::uint16_t>::max()) {
      writeByte(kTwoByteSize);
      const auto wide = static_cast<std::uint16_t>(size);
      append(&wide, sizeof wide);
    } else if (size <= std::numeric_limits<std::uint32_t>::max()) {
      writeByte(kFourByteSize);
      const auto wide = static_cast<std::uint32_t>(size);
      append(&wide, sizeof wide);
    } else {
      throw UnencodableValueError("A value of " + std::to_string(size) +
                                  " elements is too long for a message.");
    }
  }

  void align(std::size_t alignment) {
    bytes_.resize(bytes_.size() + paddingAt(bytes_.size(), alignment));
  }

  void append(const void* data, std::size_t size) {
    const auto* begin = static_cast<const std::uint8_t*>(data);
    if (size > 0) bytes_.insert(bytes_.end(), begin, begin + size);
  }

  Bytes bytes_;
  int nesting_ = 0;
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_MESSAGE_WRITER_HPP_
