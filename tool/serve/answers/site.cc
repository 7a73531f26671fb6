#include "tool/serve/answers/site.h"

#include "tool/serve/answers/page.h"
#include "tool/serve/reading/own_origin.h"

namespace quorvin {
namespace {

constexpr std::string_view kTokenParameter = "token";

std::string firstPart(const Request& request) {
  return request.target.path.front();
}

bool isAlone(const Request& request) {
  return request.target.path.size() == 1;
}

Response wrongMethod(std::string_view allowed) {
  Response response = Response::text(kMethodNotAllowed, "This cannot be done with this.");
  response.headers.emplace_back("Allow", allowed);
  return response;
}

}  // namespace

std::optional<Response> Site::refusal(const Request& request) {
  if (!isOwnHost(request.host, port_)) {
    return Response::text(kForbidden, "This server answers to its own name alone.");
  }
  const bool isAnothers = !request.origin.empty() && !isOwnOrigin(request.origin, port_);
  if (isAnothers && (request.isUpgrade || !request.reads())) {
    return Response::text(kForbidden, "Pages of other servers may not do this.");
  }
  const bool isFirst = request.reads() && isAlone(request) && firstPart(request).empty();
  if (isFirst && (hasToken(request) || takesOnce(request))) return welcome();
  if (hasCookie(request) || hasToken(request)) return std::nullopt;
  return Response::text(kUnauthorized,
                        "Open the address that “quorvin serve” printed: it lets this browser in.");
}

Response Site::welcome() const {
  Response response{.status = kSeeOther};
  response.headers = {{"Location", "/"},
                      {"Cache-Control", "no-store"},
                      {"Set-Cookie", cookieName(port_) + "=" + token_.text() +
                                         "; HttpOnly; SameSite=Strict; Path=/"}};
  return response;
}

bool Site::hasCookie(const Request& request) const {
  return token_.matches(cookieValue(request.cookie, cookieName(port_)));
}

bool Site::hasToken(const Request& request) const {
  const std::string* token = request.target.parameter(kTokenParameter);
  return token != nullptr && token_.matches(*token);
}

bool Site::takesOnce(const Request& request) {
  const std::string* token = request.target.parameter(kTokenParameter);
  if (token == nullptr || !once_ || !once_->matches(*token)) return false;
  once_.reset();
  return true;
}

bool Site::isForChannels(const Request& request) {
  return isAlone(request) && firstPart(request) == "channel" && request.method == Method::get &&
         request.isUpgrade;
}

bool Site::isUpload(const Request& request) {
  return isAlone(request) && firstPart(request) == "upload" && request.method == Method::post;
}

void Site::answer(const Request& request, ExchangePtr exchange) {
  const std::string first = firstPart(request);
  if (first == "upload" && isAlone(request)) return exchange->answer(wrongMethod("POST"));
  if (!request.reads()) return exchange->answer(wrongMethod("GET, HEAD"));
  if (first == "asset") return assets_.answer(request, std::move(exchange));
  if (first == "channel" && isAlone(request)) {
    Response response = Response::text(kUpgradeRequired, "This is for WebSockets.");
    response.headers.emplace_back("Upgrade", "websocket");
    return exchange->answer(std::move(response));
  }
  exchange->answer(pageResponse(request));
}

std::variant<Response, std::unique_ptr<Upload>> Site::beginUpload(const Request& request) {
  return uploads_.begin(request);
}

std::vector<std::pair<std::string, std::string>> Site::commonHeaders() const {
  const std::string port = std::to_string(port_);
  // Not every browser takes a WebSocket of the same server for one's own.
  return {{"Content-Security-Policy",
           "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; "
           "media-src 'self' blob:; connect-src 'self' ws://127.0.0.1:" +
               port + " ws://localhost:" + port +
               "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
          {"X-Content-Type-Options", "nosniff"},
          {"Referrer-Policy", "no-referrer"},
          {"Cross-Origin-Resource-Policy", "same-origin"},
          {"Cross-Origin-Opener-Policy", "same-origin"}};
}

}  // namespace quorvin
