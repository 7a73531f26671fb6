// The type bytes of the standard message codec. All numbers on the wire are little-endian.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace quorvin {

static_assert(std::endian::native == std::endian::little,
              "numbers are copied to and from the wire as they lie in memory");
static_assert(std::numeric_limits<double>::is_iec559 && std::numeric_limits<float>::is_iec559);

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

/// A size below this is one byte; this byte and the next announce two and four bytes.
inline constexpr std::uint8_t kTwoByteSize = 254;
inline constexpr std::uint8_t kFourByteSize = 255;

/// Zero bytes needed at `offset` from the start of the message; `alignment` is a power of two.
constexpr std::size_t paddingAt(std::size_t offset, std::size_t alignment) {
  return (alignment - offset % alignment) % alignment;
}

}  // namespace quorvin
