#include "platform_linux/dispatch/linux_dispatch.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform_linux/errors/errors.h"

namespace quorvin {

Result<std::unique_ptr<LinuxDispatch>> LinuxDispatch::create() {
  FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!event) {
    return libraryError(
        LibraryErrorCode::internal,
        std::string("The main queue has no event descriptor: ") + strerrordesc_np(errno) + ".");
  }
  return std::unique_ptr<LinuxDispatch>(new LinuxDispatch(std::move(event)));
}

}  // namespace quorvin
