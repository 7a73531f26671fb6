// What the codec of the channel carries.
#ifndef QUORVIN_CLIENT_VALUE_HPP_
#define QUORVIN_CLIENT_VALUE_HPP_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace quorvin {
namespace client {

using Bytes = std::vector<std::uint8_t>;

/// Bytes of somebody else.
struct BytesView {
  BytesView(const std::uint8_t* bytes, std::size_t count) : data(bytes), size(count) {}
  BytesView(const Bytes& bytes) : BytesView(bytes.data(), bytes.size()) {}

  const std::uint8_t* data;
  std::size_t size;
};

struct Null {
  friend bool operator==(Null, Null) { return true; }
};

/// An integer beyond 64 bits, as its hexadecimal digits.
struct LargeInteger {
  std::string hexadecimal;
  friend bool operator==(const LargeInteger& a, const LargeInteger& b) {
    return a.hexadecimal == b.hexadecimal;
  }
};

class Value;
using List = std::vector<Value>;
/// Pairs in order. Keys are values too.
using Map = std::vector<std::pair<Value, Value>>;

/// One value. A boolean is never an integer, and an integer never a double.
class Value {
 public:
  using Held = std::variant<Null, bool, std::int64_t, double, std::string, LargeInteger, Bytes,
                            std::vector<std::int32_t>, std::vector<std::int64_t>,
                            std::vector<float>, std::vector<double>, List, Map>;

  Value() = default;
  Value(Null) {}
  Value(bool value) : held_(value) {}
  /// Any integer that 64 bits with a sign hold.
  template <class Integer,
            class = std::enable_if_t<
                std::is_integral<Integer>::value && !std::is_same<Integer, bool>::value &&
                (std::is_signed<Integer>::value || sizeof(Integer) < sizeof(std::int64_t))>>
  Value(Integer value) : held_(static_cast<std::int64_t>(value)) {}
  Value(double value) : held_(value) {}
  Value(std::string value) : held_(std::move(value)) {}
  Value(std::string_view value) : held_(std::string(value)) {}
  Value(const char* value) : held_(std::string(value)) {}
  Value(LargeInteger value) : held_(std::move(value)) {}
  Value(Bytes value) : held_(std::move(value)) {}
  Value(std::vector<std::int32_t> value) : held_(std::move(value)) {}
  Value(std::vector<std::int64_t> value) : held_(std::move(value)) {}
  Value(std::vector<float> value) : held_(std::move(value)) {}
  Value(std::vector<double> value) : held_(std::move(value)) {}
  Value(List value) : held_(std::move(value)) {}
  Value(Map value) : held_(std::move(value)) {}
  /// Without this a pointer would become a boolean.
  template <class T>
  Value(const T* pointer) = delete;

  bool isNull() const { return as<Null>() != nullptr; }

  /// The value when it is of this type, or null.
  template <class T>
  const T* as() const {
    return std::get_if<T>(&held_);
  }

  /// The last entry of a map under a key; null when there is none, and when this is no map.
  const Value* find(std::string_view key) const;

  const Held& held() const { return held_; }

  friend bool operator==(const Value& a, const Value& b) { return a.held_ == b.held_; }
  friend bool operator!=(const Value& a, const Value& b) { return !(a == b); }

 private:
  Held held_;
};

inline const Value* Value::find(std::string_view key) const {
  const Map* map = as<Map>();
  if (map == nullptr) return nullptr;
  for (auto pair = map->rbegin(); pair != map->rend(); ++pair) {
    const auto* text = pair->first.as<std::string>();
    if (text != nullptr && *text == key) return &pair->second;
  }
  return nullptr;
}

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_VALUE_HPP_
