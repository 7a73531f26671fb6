// What the server serves to whom.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tool/serve/answers/assets.h"
#include "tool/serve/answers/request.h"
#include "tool/serve/answers/upload.h"
#include "tool/serve/answers/uploads.h"
#include "tool/serve/reading/session_token.h"

namespace quorvin {

/// Platform thread.
class Site {
 public:
  /// The others outlive it.
  Site(std::uint16_t port, SessionToken token, Assets& assets, Uploads& uploads)
      : port_(port), token_(std::move(token)), assets_(assets), uploads_(uploads) {}

  /// Whoever comes with this token first gets the cookie.
  void letInOnce(SessionToken token) { once_ = std::move(token); }

  /// Why the request goes no further; none: it may. It was looked at in no other way before.
  std::optional<Response> refusal(const Request& request);

  /// Whether a request that may go on asks for a connection to the channels.
  static bool isForChannels(const Request& request);
  static bool isUpload(const Request& request);

  void answer(const Request& request, ExchangePtr exchange);
  std::variant<Response, std::unique_ptr<Upload>> beginUpload(const Request& request);

  /// What every response carries.
  std::vector<std::pair<std::string, std::string>> commonHeaders() const;

 private:
  bool hasCookie(const Request& request) const;
  bool hasToken(const Request& request) const;
  bool takesOnce(const Request& request);
  Response welcome() const;

  const std::uint16_t port_;
  const SessionToken token_;
  std::optional<SessionToken> once_;
  Assets& assets_;
  Uploads& uploads_;
};

}  // namespace quorvin
