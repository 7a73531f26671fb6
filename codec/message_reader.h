// Takes values out of one message that anybody may have made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "codec/wire_format.h"
#include "core/platform/value.h"

namespace quorvin {

/// Reads values in order. Every read answers false when what follows is malformed; the reader is
/// of no further use then. It never reads past the end, and what it allocates is bounded by the
/// message's own size, whatever sizes the message claims and however small its values are.
class MessageReader {
 public:
  /// How many lists and maps may lie within one another.
  static constexpr int kMaximumNesting = 256;
  /// Bytes that lists and maps may take in memory: so many for any message, and so many for each of
  /// its bytes. A null is one byte in a message and forty in a list; what people send holds texts,
  /// and takes twice to six times its size.
  static constexpr std::size_t kFreeCost = std::size_t{16} << 20;
  static constexpr std::size_t kCostPerByte = 8;

  /// The message must outlive the reader.
  explicit MessageReader(std::span<const std::uint8_t> message)
      : message_(message), affordable_(kFreeCost + kCostPerByte * message.size()) {}

  bool atEnd() const { return offset_ == message_.size(); }
  bool readByte(std::uint8_t& byte);
  bool readValue(Value& value);

 private:
  bool readBody(WireType type, Value& value);
  bool readSize(std::size_t& size);
  bool readText(std::string& text);
  bool readLargeInteger(Value& value);
  bool readByteBuffer(Value& value);
  bool readList(Value& value);
  bool readMap(Value& value);
  template <class Number>
  bool readNumber(Number& number);
  template <class Number>
  bool readNumbers(Value& value);
  bool skipPadding(std::size_t alignment);

  /// Takes the cost of a list or map off what the message may still cost; false beyond that.
  bool afford(std::size_t count, std::size_t each);

  std::size_t remaining() const { return message_.size() - offset_; }
  /// True when that many bytes are left beside those that enclosing lists and maps still need.
  bool has(std::size_t bytes) const { return remaining() >= owed_ && bytes <= remaining() - owed_; }

  std::span<const std::uint8_t> message_;
  std::size_t offset_ = 0;
  std::size_t affordable_;
  /// Values that enclosing lists and maps have announced and that are still to come, each of at
  /// least one byte.
  std::size_t owed_ = 0;
  int nesting_ = 0;
};

}  // namespace quorvin
