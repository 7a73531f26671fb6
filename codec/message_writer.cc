#include "codec/message_writer.h"

#include <array>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <variant>

#include "codec/wire_format.h"

namespace quorvin {
namespace {

/// Gathers small values in a chunk on the stack: appending to a vector piece by piece would cost
/// more than the pieces. Large ones go straight to their place. Measuring the message beforehand
/// would cost more than the vector's growth: most of the time goes into visiting the values.
class Appender {
 public:
  explicit Appender(std::vector<std::uint8_t>& message) : message_(message) {}

  std::size_t offset() const { return message_.size() + used_; }

  void byte(std::uint8_t value) {
    if (used_ == chunk_.size()) flush();
    chunk_[used_++] = value;
  }

  void bytes(const void* data, std::size_t size) {
    if (size == 0) return;
    if (size > chunk_.size() - used_) {
      flush();
      if (size > chunk_.size()) {
        // Room for what follows, so that the large value is not copied again.
        message_.reserve(message_.size() + size + chunk_.size());
        return append(static_cast<const std::uint8_t*>(data), size);
      }
    }
    std::memcpy(chunk_.data() + used_, data, size);
    used_ += size;
  }

  void flush() {
    append(chunk_.data(), used_);
    used_ = 0;
  }

 private:
  void append(const std::uint8_t* data, std::size_t size) {
    message_.insert(message_.end(), data, data + size);
  }

  std::vector<std::uint8_t>& message_;
  std::array<std::uint8_t, 2048> chunk_;
  std::size_t used_ = 0;
};

class ValueWriter {
 public:
  explicit ValueWriter(Appender& sink) : sink_(sink) {}

  void write(const Value& value) {
    std::visit([this](const auto& alternative) { this->put(alternative); }, value.variant());
  }

  void announceBuffer(std::size_t bytes) {
    type(WireType::byteBuffer);
    size(bytes);
  }

 private:
  void put(Null) { type(WireType::null); }
  void put(bool value) { type(value ? WireType::trueValue : WireType::falseValue); }

  void put(std::int64_t value) {
    const auto narrow = static_cast<std::int32_t>(value);
    if (narrow == value) {
      type(WireType::int32);
      number(narrow);
    } else {
      type(WireType::int64);
      number(value);
    }
  }

  void put(double value) {
    type(WireType::float64);
    align(sizeof value);
    number(value);
  }

  void put(Literal value) { text(WireType::string, value.text); }
  void put(const std::string& value) { text(WireType::string, value); }
  void put(const LargeInteger& value) { text(WireType::largeInteger, value.hexadecimal); }

  void put(const ByteBuffer& value) {
    announceBuffer(value.size());
    sink_.bytes(value.data(), value.size());
  }

  void put(const std::vector<std::int32_t>& values) { numbers(WireType::int32List, values); }
  void put(const std::vector<std::int64_t>& values) { numbers(WireType::int64List, values); }
  void put(const std::vector<float>& values) { numbers(WireType::float32List, values); }
  void put(const std::vector<double>& values) { numbers(WireType::float64List, values); }

  void put(const List& values) {
    type(WireType::list);
    size(values.size());
    for (const Value& value : values) write(value);
  }

  void put(const Map& pairs) {
    type(WireType::map);
    size(pairs.size());
    for (const auto& [key, value] : pairs) {
      write(key);
      write(value);
    }
  }

  void text(WireType wireType, std::string_view characters) {
    type(wireType);
    size(characters.size());
    sink_.bytes(characters.data(), characters.size());
  }

  /// An empty list is padded too: receivers skip to the alignment before they look at the size.
  template <class Number>
  void numbers(WireType wireType, const std::vector<Number>& values) {
    type(wireType);
    size(values.size());
    align(sizeof(Number));
    sink_.bytes(values.data(), values.size() * sizeof(Number));
  }

  void type(WireType wireType) { sink_.byte(static_cast<std::uint8_t>(wireType)); }

  void size(std::size_t elements) {
    if (elements < kTwoByteSize) {
      sink_.byte(static_cast<std::uint8_t>(elements));
    } else if (elements <= std::numeric_limits<std::uint16_t>::max()) {
      sink_.byte(kTwoByteSize);
      number(static_cast<std::uint16_t>(elements));
    } else if (elements <= std::numeric_limits<std::uint32_t>::max()) {
      sink_.byte(kFourByteSize);
      number(static_cast<std::uint32_t>(elements));
    } else {
      throw std::length_error("a value is too long for a message");
    }
  }

  template <class Number>
  void number(Number value) {
    sink_.bytes(&value, sizeof value);
  }

  void align(std::size_t alignment) {
    static constexpr std::array<std::uint8_t, 8> kZeros{};
    sink_.bytes(kZeros.data(), paddingAt(sink_.offset(), alignment));
  }

  Appender& sink_;
};

}  // namespace

std::vector<std::uint8_t> writeMessage(
    std::span<const std::uint8_t> head,
    std::initializer_list<std::reference_wrapper<const Value>> values) {
  std::vector<std::uint8_t> message;
  Appender appender(message);
  appender.bytes(head.data(), head.size());
  ValueWriter writer(appender);
  for (const Value& value : values) writer.write(value);
  appender.flush();
  return message;
}

std::vector<std::uint8_t> writeBufferHead(std::span<const std::uint8_t> head, std::size_t size) {
  std::vector<std::uint8_t> message;
  Appender appender(message);
  appender.bytes(head.data(), head.size());
  ValueWriter(appender).announceBuffer(size);
  appender.flush();
  return message;
}

}  // namespace quorvin
