#include "platform_linux/files/temporary_directory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/errors/system_failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {

namespace {

constexpr unsigned kPrivateMode = 0700;

/// The path with single slashes, and none at its end.
std::string tidied(const std::string& path) {
  std::string tidy;
  for (const char c : path) {
    if (c != '/' || !tidy.ends_with('/')) tidy += c;
  }
  if (tidy.size() > 1 && tidy.ends_with('/')) tidy.pop_back();
  return tidy;
}

/// 0 when nobody but the user can have put anything there. What is looked at is the thing itself:
/// a link may lead anywhere.
int privacyError(const std::string& path) {
  const FileDescriptor folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!folder) return errno;
  struct stat status = {};
  if (::fstat(folder.get(), &status) != 0) return errno;
  return status.st_uid == ::geteuid() && (status.st_mode & 077) == 0 ? 0 : EPERM;
}

}  // namespace

TemporaryDirectory::TemporaryDirectory(const std::string& path, const std::string& parent)
    : isPrivate_(path.empty()),
      parent_(tidied(parent)),
      path_(tidied(path.empty() ? parent + "/quorvin-" + std::to_string(::geteuid()) : path)) {}

std::string TemporaryDirectory::path() {
  const NSLockHolder held(lock_);
  makeUnlocked();
  return path_.ends_with('/') ? path_ : path_ + "/";
}

int TemporaryDirectory::make() {
  const NSLockHolder held(lock_);
  return makeUnlocked();
}

bool TemporaryDirectory::holds(const std::string& path) {
  const NSLockHolder held(lock_);
  return path.starts_with(path_) &&
         (path.size() == path_.size() || path_.ends_with('/') || path[path_.size()] == '/');
}

int TemporaryDirectory::makeUnlocked() {
  if (!isPrivate_) return makeFolders(path_, kPrivateMode);
  if (privacyError(path_) == 0) return 0;
  makeFolders(path_, kPrivateMode);
  const int error = privacyError(path_);
  if (error == 0) return 0;
  // Somebody else's, or open to others: one beside it that nobody could have foreseen.
  std::string other = tidied(parent_ + "/quorvin-XXXXXX");
  if (::mkdtemp(other.data()) == nullptr) return error;
  path_ = std::move(other);
  return 0;
}

std::string temporaryParent() {
  const char* named = std::getenv("TMPDIR");
  const std::string parent = named == nullptr ? "" : named;
  return parent.starts_with('/') && isUtf8(parent) ? parent : "/tmp";
}

int makeFolders(const std::string& path, unsigned mode) {
  if (::mkdir(path.c_str(), mode) == 0) return 0;
  if (errno == ENOENT) {
    const std::string above = folderOf(path);
    if (above == path || above == ".") return ENOENT;
    if (const int error = makeFolders(above, mode); error != 0) return error;
    if (::mkdir(path.c_str(), mode) == 0) return 0;
  }
  // Also where nothing may be made, as on a read-only volume: what is there need not be made.
  const int error = errno;
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return error;
  return S_ISDIR(status.st_mode) ? 0 : EEXIST;
}

}  // namespace quorvin
