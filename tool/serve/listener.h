// The socket that the server listens on.
#pragma once

#include <cstdint>

#include "platform_linux/errors/failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {

struct Listener {
  FileDescriptor socket;
  std::uint16_t port = 0;
};

/// On this machine's own address alone. Port 0: any that is free.
Result<Listener> listenLocally(std::uint16_t port);

/// The next connection; none when there is none now, with errno saying why.
FileDescriptor acceptFrom(const Listener& listener);

}  // namespace quorvin
