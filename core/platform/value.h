// The plain values that cross the method channel.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
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
///
/// It is small, for a page of records holds tens of thousands: numbers, constants and short texts
/// lie in it, the copies of a longer text share it, and everything else has memory of its own.
class Value {
 public:
  Value() noexcept : Value(Null{}) {}
  Value(const Value& other) : held_(other.held_) {
    if (!isPlain()) keepOrCopy(other);
  }
  Value(Value&& other) noexcept : held_(other.held_) { other.held_.number = {}; }
  Value& operator=(const Value& other) { return *this = Value(other); }
  Value& operator=(Value&& other) noexcept {
    const Held taken = std::exchange(other.held_, Held{});
    if (!isPlain()) release();
    held_ = taken;
    return *this;
  }
  ~Value() {
    if (!isPlain()) release();
  }
  Value(Null) noexcept : held_{} {}
  Value(bool value) noexcept : held_{.number = {Kind::boolean, {.boolean = value}}} {}
  Value(int value) noexcept : Value(std::int64_t{value}) {}
  Value(std::int64_t value) noexcept : held_{.number = {Kind::integer, {.integer = value}}} {}
  Value(double value) noexcept : held_{.number = {Kind::real, {.real = value}}} {}
  Value(Literal value) noexcept
      : held_{.longText = {Kind::literal, static_cast<std::uint32_t>(value.text.size()),
                           value.text.data()}} {}
  /// Throws std::length_error beyond the 2^32 - 1 bytes that a message can say.
  Value(std::string_view value);
  Value(const std::string& value) : Value(std::string_view(value)) {}
  Value(const char* value) : Value(std::string_view(value)) {}
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

  /// Calls the visitor with what is held: `Null`, a boolean, a number, a text as
  /// `std::string_view`, a `LargeInteger`, a `ByteBuffer`, or one of the vectors.
  template <class Visitor>
  decltype(auto) visit(Visitor&& visitor) const;

  bool isNull() const { return kind() == Kind::null; }

  /// The value when it is of this type, or null. Texts are asked for by `isText`.
  template <class T>
  const T* as() const {
    return kind() == kindOf(static_cast<T*>(nullptr)) ? &in<T>(held_) : nullptr;
  }

  template <class T>
  T* as() {
    return kind() == kindOf(static_cast<T*>(nullptr)) ? &const_cast<T&>(in<T>(held_)) : nullptr;
  }

  /// True for constants too.
  bool isText() const { return kind() >= Kind::literal && kind() <= Kind::sharedText; }
  /// The text; empty when this is none. Valid as long as this value stays as and where it is.
  std::string_view text() const;

  /// Texts are equal by their characters, doubles by `==`.
  friend bool operator==(const Value& a, const Value& b);

 private:
  /// Those from `sharedText` on own something.
  enum class Kind : std::uint8_t {
    null,
    boolean,
    integer,
    real,
    literal,
    shortText,
    sharedText,
    largeInteger,
    bytes,
    int32s,
    int64s,
    floats,
    doubles,
    list,
    map,
  };
  static constexpr Kind kindOf(const bool*) { return Kind::boolean; }
  static constexpr Kind kindOf(const std::int64_t*) { return Kind::integer; }
  static constexpr Kind kindOf(const double*) { return Kind::real; }
  static constexpr Kind kindOf(const LargeInteger*) { return Kind::largeInteger; }
  static constexpr Kind kindOf(const ByteBuffer*) { return Kind::bytes; }
  static constexpr Kind kindOf(const std::vector<std::int32_t>*) { return Kind::int32s; }
  static constexpr Kind kindOf(const std::vector<std::int64_t>*) { return Kind::int64s; }
  static constexpr Kind kindOf(const std::vector<float>*) { return Kind::floats; }
  static constexpr Kind kindOf(const std::vector<double>*) { return Kind::doubles; }
  static constexpr Kind kindOf(const List*) { return Kind::list; }
  static constexpr Kind kindOf(const Map*) { return Kind::map; }

  /// How many values share a text; lies in front of it.
  using Owners = std::atomic<std::size_t>;

  struct Number {
    Kind kind;
    union {
      std::int64_t integer;
      double real;
      bool boolean;
    };
  };
  struct LongText {
    Kind kind;
    std::uint32_t size;
    const char* text;
  };
  struct ShortText {
    Kind kind;
    std::uint8_t size;
    char text[14];
  };
  struct Owned {
    Kind kind;
    void* box;  ///< a new object of the kind's type
  };
  union Held {
    Number number;      ///< all zero: null
    LongText longText;  ///< a constant, or one that values share
    ShortText shortText;
    Owned owned;
  };

  template <class T>
  static constexpr bool kIsBoxed =
      !std::is_arithmetic_v<T> && !std::is_same_v<T, Null> && !std::is_same_v<T, std::string_view>;

  struct InBox {};
  template <class T>
  Value(InBox, T value);

  template <class T>
  static const T& in(const Held& held);
  Kind kind() const { return held_.number.kind; }
  Owners& owners() const;
  bool isPlain() const { return kind() < Kind::sharedText; }
  void keepOrCopy(const Value& other);
  void release() noexcept;

  Held held_;
};
static_assert(sizeof(Value) == 16);

/// The value under a text key, or null when there is none; the last one when the key repeats,
/// as in a map that was filled in order.
const Value* find(const Map& map, std::string_view key);

template <class T>
const T& Value::in(const Held& held) {
  if constexpr (std::is_same_v<T, bool>) {
    return held.number.boolean;
  } else if constexpr (std::is_same_v<T, std::int64_t>) {
    return held.number.integer;
  } else if constexpr (std::is_same_v<T, double>) {
    return held.number.real;
  } else {
    return *static_cast<const T*>(held.owned.box);
  }
}

template <class Visitor>
decltype(auto) Value::visit(Visitor&& visitor) const {
  switch (kind()) {
    case Kind::null:
      return visitor(Null{});
    case Kind::boolean:
      return visitor(in<bool>(held_));
    case Kind::integer:
      return visitor(in<std::int64_t>(held_));
    case Kind::real:
      return visitor(in<double>(held_));
    case Kind::largeInteger:
      return visitor(in<LargeInteger>(held_));
    case Kind::bytes:
      return visitor(in<ByteBuffer>(held_));
    case Kind::int32s:
      return visitor(in<std::vector<std::int32_t>>(held_));
    case Kind::int64s:
      return visitor(in<std::vector<std::int64_t>>(held_));
    case Kind::floats:
      return visitor(in<std::vector<float>>(held_));
    case Kind::doubles:
      return visitor(in<std::vector<double>>(held_));
    case Kind::list:
      return visitor(in<List>(held_));
    case Kind::map:
      return visitor(in<Map>(held_));
    default:
      return visitor(text());
  }
}

inline std::string_view Value::text() const {
  if (kind() == Kind::shortText) return {held_.shortText.text, held_.shortText.size};
  if (!isText()) return {};
  return {held_.longText.text, held_.longText.size};
}

}  // namespace quorvin
