// The secret by which a browser of the user's own is known.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform_linux/errors/failure.h"

namespace quorvin {

class SessionToken {
 public:
  /// 256 bits from the kernel.
  static Result<SessionToken> make();

  const std::string& text() const { return text_; }
  /// Takes as long wherever a wrong one differs.
  bool matches(std::string_view other) const;

 private:
  explicit SessionToken(std::string text) : text_(std::move(text)) {}

  std::string text_;
};

/// Cookies do not know ports: two servers of one machine have cookies of two names.
std::string cookieName(std::uint16_t port);

/// The value of the first cookie of the name in a Cookie header; empty when there is none.
std::string_view cookieValue(std::string_view header, std::string_view name);

}  // namespace quorvin
