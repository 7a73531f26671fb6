#include "platform_linux/library/originals/original_path.h"

#include <algorithm>
#include <cstddef>

namespace quorvin {

namespace {

constexpr std::size_t kFanOut = 2;
constexpr std::size_t kUuid = 36;
constexpr std::size_t kLongestExtension = 10;
constexpr std::size_t kMostTypeDigits = 2;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

bool isUuid(std::string_view text) {
  if (text.size() != kUuid) return false;
  for (std::size_t i = 0; i < kUuid; ++i) {
    const char c = text[i];
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    if (isDash ? c != '-' : !isDigit(c) && (c < 'A' || c > 'F')) return false;
  }
  return true;
}

}  // namespace

std::string originalPath(std::string_view uuid, bool isPaired, std::string_view extension) {
  std::string path(uuid.substr(0, kFanOut));
  path += '/';
  path += uuid;
  if (isPaired) path += "-9";
  if (isPlainExtension(extension)) (path += '.') += extension;
  return path;
}

bool isAssetIdentifier(std::string_view identifier) {
  return identifier.size() > kUuid && isUuid(identifier.substr(0, kUuid)) &&
         identifier.substr(kUuid) == "/L0/001";
}

bool isPlainExtension(std::string_view extension) {
  return !extension.empty() && extension.size() <= kLongestExtension &&
         std::ranges::all_of(extension, [](char c) {
           return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
         });
}

bool resourcePathIsOurs(std::string_view path) {
  if (path.size() < kFanOut + 1 + kUuid || path[kFanOut] != '/') return false;
  const std::string_view uuid = path.substr(kFanOut + 1, kUuid);
  if (!isUuid(uuid) || !uuid.starts_with(path.substr(0, kFanOut))) return false;
  std::string_view rest = path.substr(kFanOut + 1 + kUuid);
  if (rest.starts_with('-')) {
    rest.remove_prefix(1);
    const auto end = std::ranges::find_if_not(rest, isDigit);
    const auto digits = static_cast<std::size_t>(end - rest.begin());
    if (digits == 0 || digits > kMostTypeDigits || rest.front() == '0') return false;
    rest.remove_prefix(digits);
  }
  return rest.empty() || (rest.front() == '.' && isPlainExtension(rest.substr(1)));
}

std::string_view uuidOfOriginal(std::string_view path) {
  return path.substr(kFanOut + 1, kUuid);
}

}  // namespace quorvin
