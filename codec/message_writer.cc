#include "codec/message_writer.h"

#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string_view>

#include "codec/wire_format.h"

namespace quorvin {
namespace {

/// A buffer's type and its size in the longest form.
constexpr std::size_t kLongestBufferHead = 1 + 1 + sizeof(std::uint32_t);

// Both kinds of sinks are one word and go from hand to hand by value: what is in a register need
// not be read again after every byte that is written.

/// Only counts what is put into it.
class Counter {
 public:
  std::size_t count() const { return count_; }
  void byte(std::uint8_t) { ++count_; }
  void bytes(const void*, std::size_t size) { count_ += size; }
  void align(std::size_t alignment) { count_ += paddingAt(count_, alignment); }

 private:
  std::size_t count_ = 0;
};

/// Fills memory that is known to be large enough. It begins where memory for anything may begin, so
/// that its addresses are as much aligned as places in the message.
class Filler {
 public:
  explicit Filler(std::uint8_t* memory) : at_(memory) {}

  const std::uint8_t* at() const { return at_; }
  void byte(std::uint8_t value) { *at_++ = value; }
  void bytes(const void* data, std::size_t size) {
    if (size == 0) return;  // there may be no data
    std::memcpy(at_, data, size);
    at_ += size;
  }
  void align(std::size_t alignment) {
    const auto place = reinterpret_cast<std::uintptr_t>(at_);
    for (std::size_t left = paddingAt(place, alignment); left > 0; --left) byte(0);
  }

 private:
  std::uint8_t* at_;
};
static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ % sizeof(double) == 0);

template <class Sink, class Number>
Sink putNumber(Sink sink, Number value) {
  sink.bytes(&value, sizeof value);
  return sink;
}

template <class Sink>
Sink putType(Sink sink, WireType type) {
  sink.byte(static_cast<std::uint8_t>(type));
  return sink;
}

template <class Sink>
[[gnu::noinline]] Sink putLongSize(Sink sink, std::size_t elements) {
  if (elements <= std::numeric_limits<std::uint16_t>::max()) {
    sink.byte(kTwoByteSize);
    return putNumber(sink, static_cast<std::uint16_t>(elements));
  }
  if (elements > std::numeric_limits<std::uint32_t>::max()) {
    throw std::length_error("a value is too long for a message");
  }
  sink.byte(kFourByteSize);
  return putNumber(sink, static_cast<std::uint32_t>(elements));
}

template <class Sink>
Sink putHead(Sink sink, WireType type, std::size_t elements) {
  sink = putType(sink, type);
  if (elements >= kTwoByteSize) return putLongSize(sink, elements);
  sink.byte(static_cast<std::uint8_t>(elements));
  return sink;
}

template <class Sink>
[[gnu::always_inline]] inline Sink write(Sink sink, const Value& value);

template <class Sink>
Sink put(Sink sink, Null) {
  return putType(sink, WireType::null);
}

template <class Sink>
Sink put(Sink sink, bool value) {
  return putType(sink, value ? WireType::trueValue : WireType::falseValue);
}

template <class Sink>
Sink put(Sink sink, std::int64_t value) {
  const auto narrow = static_cast<std::int32_t>(value);
  if (narrow == value) return putNumber(putType(sink, WireType::int32), narrow);
  return putNumber(putType(sink, WireType::int64), value);
}

template <class Sink>
Sink put(Sink sink, double value) {
  sink = putType(sink, WireType::float64);
  sink.align(sizeof value);
  return putNumber(sink, value);
}

template <class Sink>
Sink put(Sink sink, std::string_view text, WireType type = WireType::string) {
  sink = putHead(sink, type, text.size());
  sink.bytes(text.data(), text.size());
  return sink;
}

template <class Sink>
Sink put(Sink sink, const LargeInteger& value) {
  return put(sink, value.hexadecimal, WireType::largeInteger);
}

template <class Sink>
Sink put(Sink sink, const ByteBuffer& value) {
  sink = putHead(sink, WireType::byteBuffer, value.size());
  sink.bytes(value.data(), value.size());
  return sink;
}

template <class Number>
constexpr WireType kListOf = WireType::int32List;
template <>
constexpr WireType kListOf<std::int64_t> = WireType::int64List;
template <>
constexpr WireType kListOf<float> = WireType::float32List;
template <>
constexpr WireType kListOf<double> = WireType::float64List;

/// An empty list is padded too: receivers skip to the alignment before they look at the size.
template <class Sink, class Number>
Sink put(Sink sink, const std::vector<Number>& values) {
  sink = putHead(sink, kListOf<Number>, values.size());
  sink.align(sizeof(Number));
  sink.bytes(values.data(), values.size() * sizeof(Number));
  return sink;
}

template <class Sink>
Sink put(Sink sink, const List& values) {
  sink = putHead(sink, WireType::list, values.size());
  for (const Value& value : values) sink = write(sink, value);
  return sink;
}

template <class Sink>
Sink put(Sink sink, const Map& pairs) {
  sink = putHead(sink, WireType::map, pairs.size());
  for (const auto& [key, value] : pairs) sink = write(write(sink, key), value);
  return sink;
}

template <class Sink>
[[gnu::noinline]] Sink writeAny(Sink sink, const Value& value) {
  return value.visit([sink](const auto& held) { return put(sink, held); });
}

/// What records are made of is written at once; a function for every kind would keep more on the
/// stack than most values are long.
template <class Sink>
inline Sink write(Sink sink, const Value& value) {
  if (value.isText()) return put(sink, value.text());
  if (const auto* integer = value.as<std::int64_t>()) return put(sink, *integer);
  if (const auto* boolean = value.as<bool>()) return put(sink, *boolean);
  return writeAny(sink, value);
}

using Values = std::initializer_list<std::reference_wrapper<const Value>>;

template <class Sink>
Sink write(Sink sink, std::span<const std::uint8_t> head, Values values) {
  sink.bytes(head.data(), head.size());
  for (const Value& value : values) sink = write(sink, value);
  return sink;
}

std::size_t sizeOf(std::span<const std::uint8_t> head, Values values) {
  return write(Counter(), head, values).count();
}

}  // namespace

std::vector<std::uint8_t> writeMessage(std::span<const std::uint8_t> head, Values values) {
  std::vector<std::uint8_t> message(sizeOf(head, values));
  write(Filler(message.data()), head, values);
  return message;
}

ByteBuffer writeBuffer(std::span<const std::uint8_t> head, const Value& value) {
  std::uint8_t* memory = nullptr;
  auto message = ByteBuffer::allocate(sizeOf(head, {value}), memory);
  if (!message) throw std::bad_alloc();
  write(Filler(memory), head, {value});
  return *std::move(message);
}

std::vector<std::uint8_t> writeBufferHead(std::span<const std::uint8_t> head, std::size_t size) {
  std::vector<std::uint8_t> message(head.size() + kLongestBufferHead);
  Filler filler(message.data());
  filler.bytes(head.data(), head.size());
  filler = putHead(filler, WireType::byteBuffer, size);
  message.resize(static_cast<std::size_t>(filler.at() - message.data()));
  return message;
}

}  // namespace quorvin
