#include "platform_linux/library/values/identifiers.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/platform/foundation.h"

namespace quorvin {

std::string newUuid() {
  std::array<std::uint8_t, 16> bytes;
  while (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    if (errno != EINTR) fatalError("The system has no random numbers");
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // the usual variant
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0F];
  }
  return text;
}

std::string newAssetIdentifier() {
  return newUuid() + "/L0/001";
}

std::string newCollectionIdentifier() {
  return newUuid() + "/L0/040";
}

}  // namespace quorvin
