#include "tool/serve/reading/request_target.h"

#include <algorithm>

#include "codec/utf8.h"

namespace quorvin {
namespace {

constexpr std::string_view kHexadecimal = "0123456789ABCDEF";

int digitOf(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  return -1;
}

bool isControl(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < 0x20 || byte == 0x7F;
}

bool isPlainInTargets(char character) {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') ||
         std::string_view("-._~").find(character) != std::string_view::npos;
}

/// Takes what stands before the separator, or all of it, off the front.
std::string_view takeUntil(std::string_view& text, char separator) {
  const std::size_t end = std::min(text.find(separator), text.size());
  const std::string_view taken = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return taken;
}

/// There a plus stands for a blank.
std::optional<std::string> decodedInQuery(std::string_view text) {
  std::string blank(text);
  std::ranges::replace(blank, '+', ' ');
  return percentDecoded(blank);
}

}  // namespace

const std::string* RequestTarget::parameter(std::string_view key) const {
  const auto found = std::ranges::find(query, key, [](const auto& entry) { return entry.first; });
  return found == query.end() ? nullptr : &found->second;
}

std::optional<RequestTarget> readTarget(std::string_view target) {
  if (!target.starts_with('/')) return std::nullopt;
  target.remove_prefix(1);
  RequestTarget read;
  std::string_view path = takeUntil(target, '?');
  while (true) {
    const bool isLast = path.find('/') == std::string_view::npos;
    auto part = percentDecoded(takeUntil(path, '/'));
    if (!part) return std::nullopt;
    read.path.push_back(*std::move(part));
    if (isLast) break;
  }
  while (!target.empty()) {
    std::string_view value = takeUntil(target, '&');
    auto key = decodedInQuery(takeUntil(value, '='));
    auto decoded = decodedInQuery(value);
    if (!key || !decoded) return std::nullopt;
    read.query.emplace_back(*std::move(key), *std::move(decoded));
  }
  return read;
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char character = text[i];
    if (character == '%') {
      if (text.size() - i < 3) return std::nullopt;
      const int high = digitOf(text[i + 1]);
      const int low = digitOf(text[i + 2]);
      if (high < 0 || low < 0) return std::nullopt;
      character = static_cast<char>(high * 16 + low);
      i += 2;
    }
    if (isControl(character)) return std::nullopt;
    decoded.push_back(character);
  }
  if (!isUtf8(decoded)) return std::nullopt;
  return decoded;
}

std::string percentEncoded(std::string_view text) {
  std::string encoded;
  for (const char character : text) {
    if (isPlainInTargets(character)) {
      encoded.push_back(character);
      continue;
    }
    const auto byte = static_cast<unsigned char>(character);
    encoded += {'%', kHexadecimal[byte / 16], kHexadecimal[byte % 16]};
  }
  return encoded;
}

}  // namespace quorvin
