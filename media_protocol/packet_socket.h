// Packets with descriptors over an AF_UNIX SOCK_SEQPACKET socket.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "posix/file_descriptor.h"

namespace quorvin {

inline constexpr std::size_t kMaximumPacketSize = 65535;
inline constexpr std::size_t kMaximumPacketDescriptors = 2;

struct Packet {
  std::vector<std::uint8_t> bytes;  ///< empty when the packet was larger than the maximum
  FileDescriptor descriptor;        ///< close-on-exec; none when the packet carried none
  FileDescriptor secondDescriptor;  ///< the same, of a packet that carried two
};

/// Sends one packet whole, with copies of the descriptors, at most `kMaximumPacketDescriptors`.
/// Waits while the socket is full, unless it does not block. False with errno set; a closed other
/// end is EPIPE and raises no signal.
bool sendPacket(int socket, std::span<const std::uint8_t> bytes,
                std::span<const int> descriptors = {});

/// Waits for the next packet, unless the socket does not block. None when the other end is closed
/// or on an error; errno is 0 for the former.
std::optional<Packet> receivePacket(int socket);

}  // namespace quorvin
