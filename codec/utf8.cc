#include "codec/utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace quorvin {
namespace {

/// Length of the sequence at `text`, or 0 when it is none. `size` is at least 1.
std::size_t sequenceLength(const unsigned char* text, std::size_t size) {
  const unsigned char lead = text[0];
  if (lead < 0x80) return 1;
  std::size_t length = 0;
  // The second byte's range is what keeps out overlong forms, surrogates and too large numbers.
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (size < length || text[1] < low || text[1] > high) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((text[i] & 0xC0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

bool isUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t at = 0;
  while (at < text.size()) {
    std::uint64_t eight = 0;
    if (text.size() - at >= sizeof eight) {
      std::memcpy(&eight, bytes + at, sizeof eight);
      if ((eight & 0x8080808080808080U) == 0) {
        at += sizeof eight;
        continue;
      }
    }
    const std::size_t length = sequenceLength(bytes + at, text.size() - at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string validUtf8(std::string_view text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  std::string valid;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = sequenceLength(bytes + at, text.size() - at);
    valid += length == 0 ? std::string_view("\uFFFD") : text.substr(at, length);
    at += length == 0 ? 1 : length;
  }
  return valid;
}

}  // namespace quorvin
