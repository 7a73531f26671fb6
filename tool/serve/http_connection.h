// A browser's connection: one request after another.
#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace quorvin {

class ChannelHub;
class Connections;
class Site;

/// What all connections share; outlives them.
struct Served {
  Site& site;
  ChannelHub& hub;
  Connections& connections;
};

/// Answers what comes until the connection ends.
void serveHttp(boost::asio::ip::tcp::socket socket, const Served& served);

}  // namespace quorvin
