// A client's connection to the channels: a WebSocket.
#pragma once

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tool/serve/http_connection.h"

namespace quorvin {

/// Accepts the upgrade that was asked for, and carries frames until the connection ends.
void serveChannels(boost::asio::ip::tcp::socket socket,
                   const boost::beast::http::request<boost::beast::http::empty_body>& upgrade,
                   const Served& served,
                   const std::vector<std::pair<std::string, std::string>>& headers);

}  // namespace quorvin
