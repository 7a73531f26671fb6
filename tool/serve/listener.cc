#include "tool/serve/listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace quorvin {
namespace {

Failure cannotListen(std::uint16_t port) {
  if (errno == EADDRINUSE) {
    return Failure(LibraryErrorCode::internal,
                   "port " + std::to_string(port) +
                       " is taken by another program; name another with --port, or 0 for any.");
  }
  if (errno == EACCES) {
    return Failure(LibraryErrorCode::internal,
                   "port " + std::to_string(port) +
                       " is kept for the system; name one above 1023 with --port, or 0 for any.");
  }
  return Failure(LibraryErrorCode::internal,
                 "no connections can be taken: " + std::generic_category().message(errno) + ".");
}

}  // namespace

Result<Listener> listenLocally(std::uint16_t port) {
  Listener listener{
      .socket = FileDescriptor(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))};
  const int socket = listener.socket.get();
  const int yes = 1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const plain = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof address;
  if (socket < 0 || ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
      ::bind(socket, plain, size) != 0 || ::listen(socket, SOMAXCONN) != 0 ||
      ::getsockname(socket, plain, &size) != 0) {
    return cannotListen(port);
  }
  listener.port = ntohs(address.sin_port);
  return listener;
}

FileDescriptor acceptFrom(const Listener& listener) {
  FileDescriptor accepted(
      ::accept4(listener.socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  const int yes = 1;
  // Answers are small pieces that somebody waits for.
  if (accepted) ::setsockopt(accepted.get(), IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  return accepted;
}

}  // namespace quorvin
