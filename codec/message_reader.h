// Takes values out of one message that anybody may have made.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
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
  /// Bytes that lists, maps and buffers may take in memory, beside what buffers hold: so many for
  /// any message, and so many for each of its bytes. A null is one byte in a message and sixteen in
  /// a list, and an empty list two and sixty; what people send holds texts, and takes once to three
  /// times its size.
  static constexpr std::size_t kFreeCost = std::size_t{16} << 20;
  static constexpr std::size_t kCostPerByte = 8;
  /// What a value takes beside its sixteen bytes when these cannot hold it.
  static constexpr std::size_t kBoxCost = 48;

  /// The message must outlive the reader.
  explicit MessageReader(std::span<const std::uint8_t> message)
      : message_(message), affordable_(kFreeCost + kCostPerByte * message.size()) {}

  bool atEnd() const { return offset_ == message_.size(); }
  bool readByte(std::uint8_t& byte);
  /// `value` is null to begin with; so are all that private members read into.
  bool readValue(Value& value);

 private:
  /// `before` is the element in front of it in the same list, if any. Records that follow one
  /// another have the same keys, so that these need not be made again.
  bool readValue(Value& value, const Value* before);
  bool readBody(WireType type, Value& value, const Value* before);
  bool readSize(std::size_t& size);
  bool readText(std::string_view& text);
  bool readLargeInteger(Value& value);
  bool readByteBuffer(Value& value);
  bool readList(Value& value);
  bool readMap(Value& value, const Map* before);
  template <class Number>
  bool readNumber(Number& number);
  template <class Number>
  bool readNumbers(Value& value);
  bool skipPadding(std::size_t alignment);
  /// Passes over the text if that is what follows.
  bool skipText(const Value& text);

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
