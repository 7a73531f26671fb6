#include "tool/serve/reading/session_token.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

namespace quorvin {
namespace {

constexpr std::size_t kTokenBytes = 32;

void trim(std::string_view& text) {
  constexpr std::string_view kBlank = " \t";
  text.remove_prefix(std::min(text.find_first_not_of(kBlank), text.size()));
  text.remove_suffix(text.size() - (text.find_last_not_of(kBlank) + 1));
}

}  // namespace

Result<SessionToken> SessionToken::make() {
  std::array<unsigned char, kTokenBytes> random{};
  // So few bytes come whole, or not at all.
  if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
    return Failure(LibraryErrorCode::internal, "the system gave no random bytes: " +
                                                   std::generic_category().message(errno) + ".");
  }
  std::string text;
  for (const unsigned char byte : random) {
    text += {"0123456789abcdef"[byte / 16], "0123456789abcdef"[byte % 16]};
  }
  return SessionToken(std::move(text));
}

bool SessionToken::matches(std::string_view other) const {
  if (other.size() != text_.size()) return false;
  unsigned char difference = 0;
  for (std::size_t i = 0; i < text_.size(); ++i) {
    difference |= static_cast<unsigned char>(text_[i] ^ other[i]);
  }
  // Else the compiler could leave the loop at the first difference.
  asm volatile("" : "+r"(difference));
  return difference == 0;
}

std::string cookieName(std::uint16_t port) {
  return "quorvin-" + std::to_string(port);
}

std::string_view cookieValue(std::string_view header, std::string_view name) {
  while (!header.empty()) {
    const std::size_t end = std::min(header.find(';'), header.size());
    std::string_view cookie = header.substr(0, end);
    header.remove_prefix(std::min(end + 1, header.size()));
    trim(cookie);
    const std::size_t equals = cookie.find('=');
    if (equals != std::string_view::npos && cookie.substr(0, equals) == name) {
      return cookie.substr(equals + 1);
    }
  }
  return {};
}

}  // namespace quorvin
