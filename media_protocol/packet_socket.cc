#include "media_protocol/packet_socket.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace quorvin {

namespace {

constexpr std::size_t kControlSize = CMSG_SPACE(kMaximumPacketDescriptors * sizeof(int));

/// Takes the message's descriptors; any beyond the packet's places are closed.
void takeDescriptors(msghdr& message, Packet& packet) {
  for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
       header = CMSG_NXTHDR(&message, header)) {
    if (header->cmsg_level != SOL_SOCKET || header->cmsg_type != SCM_RIGHTS) continue;
    const std::size_t count = (header->cmsg_len - CMSG_LEN(0)) / sizeof(int);
    for (std::size_t i = 0; i < count; ++i) {
      int descriptor = -1;
      std::memcpy(&descriptor, CMSG_DATA(header) + i * sizeof(int), sizeof(int));
      FileDescriptor received(descriptor);
      if (!packet.descriptor) {
        packet.descriptor = std::move(received);
      } else if (!packet.secondDescriptor) {
        packet.secondDescriptor = std::move(received);
      }
    }
  }
}

}  // namespace

bool sendPacket(int socket, std::span<const std::uint8_t> bytes, std::span<const int> descriptors) {
  if (descriptors.size() > kMaximumPacketDescriptors) {
    errno = EINVAL;
    return false;
  }
  // sendmsg only reads what iov_base points at.
  iovec part{const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
  alignas(cmsghdr) char control[kControlSize] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (!descriptors.empty()) {
    message.msg_control = control;
    message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(descriptors.size_bytes());
    std::memcpy(CMSG_DATA(header), descriptors.data(), descriptors.size_bytes());
  }
  ssize_t sent = -1;
  do {
    sent = ::sendmsg(socket, &message, MSG_NOSIGNAL);
  } while (sent < 0 && errno == EINTR);
  return sent == static_cast<ssize_t>(bytes.size());
}

std::optional<Packet> receivePacket(int socket) {
  Packet packet;
  packet.bytes.resize(kMaximumPacketSize);
  iovec part{packet.bytes.data(), packet.bytes.size()};
  alignas(cmsghdr) char control[kControlSize] = {};
  msghdr message{};
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof(control);
  ssize_t received = -1;
  do {
    received = ::recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
  } while (received < 0 && errno == EINTR);
  if (received < 0) return std::nullopt;
  takeDescriptors(message, packet);
  if (received == 0) {
    errno = 0;
    return std::nullopt;
  }
  const bool whole = (message.msg_flags & MSG_TRUNC) == 0;
  packet.bytes.resize(whole ? static_cast<std::size_t>(received) : 0);
  return packet;
}

}  // namespace quorvin
