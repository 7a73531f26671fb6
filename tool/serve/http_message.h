// Requests and responses as they stand on the wire.
#pragma once

#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tool/serve/answers/request.h"

namespace quorvin {

/// None when its target is malformed.
std::optional<Request> requestOf(
    const boost::beast::http::request<boost::beast::http::empty_body>& message);

/// All but the body, which has so many bytes.
boost::beast::http::response<boost::beast::http::empty_body> headOf(
    const Response& response, std::uint64_t size,
    const std::vector<std::pair<std::string, std::string>>& commonHeaders);

}  // namespace quorvin
