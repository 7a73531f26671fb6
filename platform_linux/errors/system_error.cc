#include "platform_linux/errors/system_error.h"

#include <cerrno>
#include <string>
#include <system_error>

#include "platform_linux/errors/errors.h"

namespace quorvin {

NSError systemError(std::string_view sentence, int errorNumber) {
  LibraryErrorCode code = LibraryErrorCode::internal;
  switch (errorNumber) {
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      code = LibraryErrorCode::notEnoughSpace;
      break;
    case ENOENT:
    case ENOTDIR:
      code = LibraryErrorCode::missingResource;
      break;
    case EACCES:
    case EPERM:
    case EIO:
      code = LibraryErrorCode::invalidResource;
      break;
    default:
      break;
  }
  return libraryError(
      code, std::string(sentence) + ": " + std::generic_category().message(errorNumber) + ".");
}

std::string reasonOf(const NSError& error) {
  std::string reason = error.localizedDescription;
  const std::string mark = " (" + error.domain + " error ";
  if (const std::size_t start = reason.rfind(mark); start != std::string::npos) {
    reason.resize(start);
  }
  return reason;
}

}  // namespace quorvin
