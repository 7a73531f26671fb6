// The plain values that cross the method channel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace quorvin {

/// Immutable bytes, shared by all copies: copying a `ByteBuffer` never copies the bytes.
/// Safe to read from any thread.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  explicit ByteBuffer(std::vector<std::uint8_t> bytes);

  /// Bytes that live as long as `owner` does, for example a mapped file.
  ByteBuffer(std::shared_ptr<const void> owner, std::span<const std::uint8_t> bytes)
      : owner_(std::move(owner)), bytes_(bytes) {}

  /// New memory with room in front of it for a message's header. `filling` points to the `size`
  /// bytes, for the caller to fill before anybody else gets the buffer. None when memory runs out.
  static std::optional<ByteBuffer> allocate(std::size_t size, std::uint8_t*& filling);

  /// The header and these bytes behind it, without a copy of them: in the same memory. None, and
  /// this buffer as it was, unless `allocate` made it, the room is left and large enough, and no
  /// copy of the buffer is alive.
  std::optional<ByteBuffer> takeBehind(std::span<const std::uint8_t> header);

  const std::uint8_t* data() const { return bytes_.data(); }
  std::size_t size() const { return bytes_.size(); }
  std::span<const std::uint8_t> bytes() const { return bytes_; }

  /// Equal when the bytes are.
  friend bool operator==(const ByteBuffer& a, const ByteBuffer& b);

 private:
  std::shared_ptr<const void> owner_;
  std::span<const std::uint8_t> bytes_;
};

/// A text constant of the program, carried without a copy. Only string literals make one.
struct Literal {
  std::string_view text;
  constexpr operator std::string_view() const { return text; }
};

inline namespace literals {
consteval Literal operator""_lit(const char* text, std::size_t size) {
  return {{text, size}};
}
}  // namespace literals

/// An integer beyond 64 bits, as its hexadecimal digits.
struct LargeInteger {
  std::string hexadecimal;
  friend bool operator==(const LargeInteger&, const LargeInteger&) = default;
};

struct Null {
  friend bool operator==(Null, Null) = default;
};

class Value;
using List = std::vector<Value>;

/// Pairs in insertion order. Keys are values too: the codec allows any.
using Map = std::vector<std::pair<Value, Value>>;

/// One value of the channel's codec. There is one integer type, whatever its width on the wire.
/// A boolean is never an integer, and an integer never a double.
class Value {
 public:
  using Variant = std::variant<Null, bool, std::int64_t, double, Literal, std::string, LargeInteger,
                               ByteBuffer, std::vector<std::int32_t>, std::vector<std::int64_t>,
                               std::vector<float>, std::vector<double>, List, Map>;

  // Defined once, or everybody who holds a value would compile the variant's.
  Value();
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();
  Value(Null);
  Value(bool value);
  Value(int value);
  Value(std::int64_t value);
  Value(double value);
  Value(Literal value);
  Value(std::string value);
  Value(const char* value);
  Value(LargeInteger value);
  Value(ByteBuffer value);
  Value(std::vector<std::int32_t> value);
  Value(std::vector<std::int64_t> value);
  Value(std::vector<float> value);
  Value(std::vector<double> value);
  Value(List value);
  Value(Map value);
  /// Without this a pointer would become a boolean.
  template <class T>
  Value(const T* pointer) = delete;

  const Variant& variant() const { return variant_; }

  bool isNull() const { return std::holds_alternative<Null>(variant_); }

  /// The alternative's value, or null when this is of another type.
  template <class T>
  const T* as() const {
    return std::get_if<T>(&variant_);
  }

  template <class T>
  T* as() {
    return std::get_if<T>(&variant_);
  }

  /// True for both kinds of text.
  bool isText() const;
  /// The text; empty when this is none.
  std::string_view text() const;

  /// Texts are equal by their characters, doubles by `==`.
  friend bool operator==(const Value& a, const Value& b);

 private:
  Variant variant_;
};

/// The value under a text key, or null when there is none; the last one when the key repeats,
/// as in a map that was filled in order.
const Value* find(const Map& map, std::string_view key);

}  // namespace quorvin
