#include "tool/serve/http_message.h"

#include <boost/beast/http/fields.hpp>
#include <boost/beast/http/verb.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <charconv>

namespace quorvin {
namespace {

namespace http = boost::beast::http;

using Head = http::request<http::empty_body>;

Method methodOf(http::verb verb) {
  switch (verb) {
    case http::verb::get:
      return Method::get;
    case http::verb::head:
      return Method::head;
    case http::verb::post:
      return Method::post;
    default:
      return Method::other;
  }
}

std::string valueOf(const Head& message, http::field field) {
  const auto value = message[field];
  return {value.data(), value.size()};
}

std::optional<std::uint64_t> lengthOf(const Head& message) {
  const std::string text = valueOf(message, http::field::content_length);
  std::uint64_t length = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
  return length;
}

}  // namespace

std::optional<Request> requestOf(const Head& message) {
  Request request{.method = methodOf(message.method())};
  request.rawTarget.assign(message.target().data(), message.target().size());
  auto target = readTarget(request.rawTarget);
  if (!target) return std::nullopt;
  request.target = *std::move(target);
  request.isUpgrade = boost::beast::websocket::is_upgrade(message);
  if (message.count(http::field::host) == 1) request.host = valueOf(message, http::field::host);
  request.origin = valueOf(message, http::field::origin);
  request.cookie = valueOf(message, http::field::cookie);
  request.range = valueOf(message, http::field::range);
  request.ifRange = valueOf(message, http::field::if_range);
  request.ifNoneMatch = valueOf(message, http::field::if_none_match);
  request.acceptEncoding = valueOf(message, http::field::accept_encoding);
  request.contentType = valueOf(message, http::field::content_type);
  request.contentLength = lengthOf(message);
  return request;
}

http::response<http::empty_body> headOf(
    const Response& response, std::uint64_t size,
    const std::vector<std::pair<std::string, std::string>>& commonHeaders) {
  http::response<http::empty_body> head;
  head.result(response.status);
  for (const auto& [name, value] : commonHeaders) head.set(name, value);
  for (const auto& [name, value] : response.headers) head.set(name, value);
  if (!response.contentType.empty()) head.set(http::field::content_type, response.contentType);
  if (response.status != kNotModified) head.content_length(size);
  return head;
}

}  // namespace quorvin
