// The bytes of the standard message codec. All numbers on the wire are little-endian.
#ifndef QUORVIN_CLIENT_WIRE_FORMAT_HPP_
#define QUORVIN_CLIENT_WIRE_FORMAT_HPP_

#include <cstddef>
#include <cstdint>
#include <string_view>

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "The codec is written for machines that are little-endian, as the wire is."
#endif

namespace quorvin {
namespace client {

enum class WireType : std::uint8_t {
  null = 0,
  trueValue = 1,
  falseValue = 2,
  int32 = 3,
  int64 = 4,
  largeInteger = 5,
  float64 = 6,
  string = 7,
  byteBuffer = 8,
  int32List = 9,
  int64List = 10,
  float64List = 11,
  list = 12,
  map = 13,
  float32List = 14,
};

/// The type of a list of such numbers.
template <class Number>
struct NumberListType;
template <>
struct NumberListType<std::int32_t> {
  static constexpr WireType value = WireType::int32List;
};
template <>
struct NumberListType<std::int64_t> {
  static constexpr WireType value = WireType::int64List;
};
template <>
struct NumberListType<float> {
  static constexpr WireType value = WireType::float32List;
};
template <>
struct NumberListType<double> {
  static constexpr WireType value = WireType::float64List;
};

/// A size below this is one byte; this byte and the next announce two and four bytes.
constexpr std::uint8_t kTwoByteSize = 254;
constexpr std::uint8_t kFourByteSize = 255;

/// How many lists and maps may lie within one another.
constexpr int kMaximumNesting = 256;

/// Bytes to be skipped at `offset` from the start of the message.
constexpr std::size_t paddingAt(std::size_t offset, std::size_t alignment) {
  return (alignment - offset % alignment) % alignment;
}

inline bool isHexadecimal(std::string_view digits) {
  return !digits.empty() &&
         digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

/// The size of the character at `text`, or 0 when there is none; `size` is at least 1.
inline std::size_t utf8CharacterSize(const unsigned char* text, std::size_t size) {
  const unsigned char lead = text[0];
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  // The second byte's range is what keeps out overlong forms, surrogates and too large numbers.
  const unsigned char low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (size < length || text[1] < low || text[1] > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((text[i] & 0xC0) != 0x80) return 0;
  }
  return length;
}

inline bool isUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t size = utf8CharacterSize(bytes + at, text.size() - at);
    if (size == 0) return false;
    at += size;
  }
  return true;
}

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_WIRE_FORMAT_HPP_
