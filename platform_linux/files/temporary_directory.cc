#include "platform_linux/files/temporary_directory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/side_file.h"

namespace quorvin {

namespace {

constexpr unsigned kPrivateMode = 0700;

std::string withSingleSlashes(const std::string& path) {
  std::string tidy;
  for (const char c : path) {
    if (c != '/' || !tidy.ends_with('/')) tidy += c;
  }
  return tidy;
}

/// The path with single slashes, and none at its end.
std::string tidied(const std::string& path) {
  std::string tidy = withSingleSlashes(path);
  if (tidy.size() > 1 && tidy.ends_with('/')) tidy.pop_back();
  return tidy;
}

std::string lastPart(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

}  // namespace

bool FilePlace::isTaken() const {
  struct stat status = {};
  return error == 0 && folder.status(path, status) == 0;
}

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
  return holdsUnlocked(path);
}

bool TemporaryDirectory::holdsUnlocked(const std::string& path) {
  return path.starts_with(path_) &&
         (path.size() == path_.size() || path_.ends_with('/') || path[path_.size()] == '/');
}

FilePlace TemporaryDirectory::placeOf(const std::string& path) {
  FilePlace place;
  const std::string tidy = withSingleSlashes(path);
  {
    const NSLockHolder held(lock_);
    if (holdsUnlocked(tidy) && tidy.size() > path_.size()) {
      place.folder = openUnlocked();
      place.error = place.folder ? 0 : errno;
      place.path = tidy.substr(path_.ends_with('/') ? path_.size() : path_.size() + 1);
      sweepUnlocked(place);
      return place;
    }
  }
  place.folder = Folder::open(folderOf(tidy));
  place.error = place.folder ? 0 : errno;
  place.path = lastPart(tidy);
  return place;
}

void TemporaryDirectory::sweepUnlocked(const FilePlace& place) {
  const std::string folder = folderOf(place.path);
  if (!place.folder || folder == "." || swept_.contains(folder)) return;
  const Folder opened = place.folder.openFolder(folder);
  if (!opened) return;
  removeAbandonedSideFiles(opened);
  swept_.insert(folder);
}

Folder TemporaryDirectory::openUnlocked() {
  // Of the user's own it is the thing itself that counts: a link may lead anywhere.
  if (!isPrivate_) return Folder::open(path_);
  const Folder above = Folder::open(folderOf(path_));
  return above ? above.openFolder(lastPart(path_)) : Folder();
}

/// 0 when nobody but the user can have put anything there.
int TemporaryDirectory::privacyError() {
  const Folder folder = openUnlocked();
  if (!folder) return errno;
  struct stat status = {};
  if (::fstat(folder.descriptor(), &status) != 0) return errno;
  return status.st_uid == ::geteuid() && (status.st_mode & 077) == 0 ? 0 : EPERM;
}

int TemporaryDirectory::makeUnlocked() {
  if (!isPrivate_) return makeFolders(path_, kPrivateMode);
  if (privacyError() == 0) return 0;
  makeFolders(path_, kPrivateMode);
  const int error = privacyError();
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

int makeFolders(const Folder& folder, const std::string& path, unsigned mode) {
  for (std::size_t end = 0; end < path.size();) {
    end = std::min(path.find('/', end + 1), path.size());
    const std::string part = path.substr(0, end);
    const int error = folder.makeFolder(part, mode);
    if (error == 0) continue;
    // Also where nothing may be made: what is there need not be made.
    struct stat status = {};
    if (folder.status(part, status) != 0) return error;
    if (!S_ISDIR(status.st_mode)) return end == path.size() ? EEXIST : ENOTDIR;
  }
  return 0;
}

}  // namespace quorvin
