#include "platform_linux/dispatch/linux_dispatch.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

Result<std::unique_ptr<LinuxDispatch>> LinuxDispatch::create() {
  FileDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!event) {
    return Failure(
        LibraryErrorCode::internal,
        std::string("The main queue has no event descriptor: ") + strerrordesc_np(errno) + ".");
  }
  std::unique_ptr<LinuxDispatch> dispatch(new LinuxDispatch(std::move(event)));
  if (!dispatch->backgroundQueue_.hasThread()) {
    return Failure(LibraryErrorCode::internal,
                   "the system has no thread to give for background work.");
  }
  return dispatch;
}

}  // namespace quorvin
