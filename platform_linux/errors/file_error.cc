#include "platform_linux/errors/file_error.h"

#include <cerrno>
#include <system_error>

#include "platform_linux/errors/errors.h"

namespace quorvin {

namespace {

struct Cause {
  FileErrorCode code;
  std::string reason;
};

Cause causeOf(int errorNumber) {
  switch (errorNumber) {
    case ENOENT:
      return {FileErrorCode::noSuchFile, "there is no such file or folder"};
    case ENOTDIR:
      return {FileErrorCode::noSuchFile, "a part of its path isn’t a folder"};
    case EACCES:
    case EPERM:
      return {FileErrorCode::writeNoPermission, "you don’t have permission"};
    case EEXIST:
      return {FileErrorCode::writeFileExists, "an item with the same name already exists"};
    case EISDIR:
      return {FileErrorCode::writeFileExists, "a folder with the same name already exists"};
    case ENOSPC:
    case EDQUOT:
      return {FileErrorCode::writeOutOfSpace, "there isn’t enough space"};
    case EROFS:
      return {FileErrorCode::writeVolumeReadOnly, "the volume is read-only"};
    case EFBIG:
      return {FileErrorCode::writeUnknown, "it would be too large"};
    case ENAMETOOLONG:
      return {FileErrorCode::writeUnknown, "its name is too long"};
    case ELOOP:
      return {FileErrorCode::writeUnknown, "its path leads through too many links"};
    default:
      return {FileErrorCode::writeUnknown,
              "of an error of the system: " + std::generic_category().message(errorNumber)};
  }
}

std::string_view withoutTrailingSlashes(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  return path;
}

}  // namespace

NSError fileError(std::string_view attempt, int errorNumber) {
  const Cause cause = causeOf(errorNumber);
  return {std::string(kFileErrorDomain), static_cast<std::int64_t>(cause.code),
          std::string(attempt) + " because " + cause.reason + "."};
}

NSError savingError(const std::string& path, int errorNumber) {
  return fileError("The file " + quotedName(path) + " couldn’t be saved in the folder " +
                       quotedName(folderOf(path)),
                   errorNumber);
}

std::string quotedName(const std::string& path) {
  const std::string_view whole = withoutTrailingSlashes(path);
  const std::size_t slash = whole.rfind('/');
  const bool isWhole = slash == whole.npos || whole.size() == 1;
  return "“" + std::string(isWhole ? whole : whole.substr(slash + 1)) + "”";
}

std::string folderOf(const std::string& path) {
  const std::string_view whole = withoutTrailingSlashes(path);
  const std::size_t slash = whole.rfind('/');
  if (slash == whole.npos) return ".";
  return std::string(withoutTrailingSlashes(whole.substr(0, slash + 1)));
}

}  // namespace quorvin
