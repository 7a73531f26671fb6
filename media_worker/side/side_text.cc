#include "media_worker/side/side_text.h"

#include <algorithm>

#include "codec/utf8.h"
#include "media_protocol/requests.h"

namespace quorvin {

std::string shortText(std::string text) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
  if (!isUtf8(text) || std::ranges::any_of(text, isControl)) return {};
  if (text.size() <= kLongestText) return text;
  std::size_t end = kLongestText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  text.resize(end);
  return text;
}

}  // namespace quorvin
