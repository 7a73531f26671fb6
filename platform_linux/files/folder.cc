#include "platform_linux/files/folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <memory>
#include <optional>

namespace quorvin {

namespace {

constexpr int kFindFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;
// Each level of a tree that is removed holds a descriptor.
constexpr int kDeepestTree = 256;

/// 0 when the path can name something in a folder.
int faultOf(std::string_view path) {
  if (path.starts_with('/')) return EXDEV;
  if (path.size() >= PATH_MAX) return ENAMETOOLONG;
  // The system would take what stands before it for the whole path.
  int fault = path.find('\0') == path.npos ? 0 : ENOENT;
  for (std::size_t start = 0; start <= path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string_view part = path.substr(start, end - start);
    if (part == "..") return EXDEV;
    if (part.empty() || part == ".") fault = ENOENT;
    start = end + 1;
  }
  return fault;
}

FileDescriptor failed(int error) {
  errno = error;
  return {};
}

int errorOf(int result) {
  return result == 0 ? 0 : errno;
}

FileDescriptor findInOneStep(int folder, const std::string& path) {
  open_how how = {};
  how.flags = kFindFolder;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
  return FileDescriptor(
      static_cast<int>(::syscall(SYS_openat2, folder, path.c_str(), &how, sizeof how)));
}

/// Of what a descriptor stands for that cannot be read by it.
int changeMode(int file, mode_t mode) {
  struct stat status = {};
  if (::fstat(file, &status) != 0) return errno;
  if (S_ISLNK(status.st_mode)) return ELOOP;
  if ((status.st_mode & 07777) == mode) return 0;
  if (!S_ISDIR(status.st_mode) && status.st_nlink > 1) return EMLINK;
  return errorOf(::chmod(("/proc/self/fd/" + std::to_string(file)).c_str(), mode));
}

Folder::Kind kindOf(mode_t mode) {
  if (S_ISREG(mode)) return Folder::Kind::file;
  if (S_ISDIR(mode)) return Folder::Kind::folder;
  return S_ISLNK(mode) ? Folder::Kind::link : Folder::Kind::other;
}

/// None when the entry is gone by now.
std::optional<Folder::Kind> kindOf(const dirent& entry, int folder) {
  // Not every file system tells the kind here.
  if (entry.d_type != DT_UNKNOWN) return kindOf(static_cast<mode_t>(DTTOIF(entry.d_type)));
  struct stat status = {};
  if (::fstatat(folder, entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return std::nullopt;
  return kindOf(status.st_mode);
}

}  // namespace

/// Where the last part of a path stands. Acting on that part alone leads nowhere else.
struct Folder::Place {
  int error = 0;
  FileDescriptor above;  ///< unless it is the folder itself
  int folder = -1;
  std::string name;
};

Folder Folder::open(const std::string& path, Resolution resolution) {
  if (path.find('\0') != path.npos) return {failed(ENOENT), resolution};
  return {FileDescriptor(::open(path.c_str(), kFindFolder)), resolution};
}

FileDescriptor Folder::find(const std::string& path) const {
  if (resolution_ == Resolution::inOneStep) {
    FileDescriptor found = findInOneStep(file_.get(), path);
    // An old system does not know the call, a sandbox may forbid it.
    if (found || (errno != ENOSYS && errno != EPERM && errno != EAGAIN)) return found;
  }
  return findPartAfterPart(path);
}

FileDescriptor Folder::findPartAfterPart(const std::string& path) const {
  FileDescriptor found;
  for (std::size_t start = 0; start < path.size();) {
    const std::size_t end = std::min(path.find('/', start), path.size());
    const std::string part = path.substr(start, end - start);
    const int above = found ? found.get() : file_.get();
    FileDescriptor next(::openat(above, part.c_str(), kFindFolder | O_NOFOLLOW));
    if (!next) {
      const int error = errno;
      struct stat status = {};
      const bool isLink = error == ENOTDIR &&
                          ::fstatat(above, part.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                          S_ISLNK(status.st_mode);
      return failed(isLink ? ELOOP : error);
    }
    found = std::move(next);
    start = end + 1;
  }
  return found;
}

Folder::Place Folder::placeOf(std::string_view path) const {
  Place place;
  place.folder = file_.get();
  place.error = faultOf(path);
  if (place.error != 0) return place;
  const std::size_t slash = path.rfind('/');
  place.name = path.substr(slash == path.npos ? 0 : slash + 1);
  if (slash == path.npos) return place;
  place.above = find(std::string(path.substr(0, slash)));
  if (!place.above) place.error = errno;
  place.folder = place.above.get();
  return place;
}

FileDescriptor Folder::openFile(std::string_view path, int flags, mode_t mode) const {
  const Place place = placeOf(path);
  if (place.error != 0) return failed(place.error);
  FileDescriptor file(::openat(place.folder, place.name.c_str(),
                               flags | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, mode));
  return file ? std::move(file) : failed(errno);
}

FileDescriptor Folder::openRegularFile(std::string_view path) const {
  FileDescriptor file = openFile(path, O_RDONLY);
  struct stat status = {};
  if (!file) return file;
  if (::fstat(file.get(), &status) != 0) return failed(errno);
  return S_ISREG(status.st_mode) ? std::move(file) : failed(EINVAL);
}

Folder Folder::openFolder(std::string_view path) const {
  if (const int fault = faultOf(path); fault != 0) return {failed(fault), resolution_};
  return {find(std::string(path)), resolution_};
}

int Folder::status(std::string_view path, struct stat& status) const {
  const Place place = placeOf(path);
  if (place.error != 0) return place.error;
  return errorOf(::fstatat(place.folder, place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW));
}

int Folder::list(std::vector<Entry>& entries) const {
  FileDescriptor file(::openat(file_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!file) return errno;
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(file.get()), ::closedir);
  if (stream == nullptr) return errno;
  file.release();
  entries.clear();
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    const auto kind = kindOf(*entry, ::dirfd(stream.get()));
    if (kind) entries.push_back({std::string(name), *kind});
  }
  const int error = errno;
  std::ranges::sort(entries, {}, &Entry::name);
  return error;
}

int Folder::makeFolder(std::string_view path, mode_t mode) const {
  const Place place = placeOf(path);
  if (place.error != 0) return place.error;
  return errorOf(::mkdirat(place.folder, place.name.c_str(), mode));
}

int Folder::setMode(std::string_view path, mode_t mode) const {
  const Place place = placeOf(path);
  if (place.error != 0) return place.error;
  const FileDescriptor file(
      ::openat(place.folder, place.name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  return file ? changeMode(file.get(), mode) : errno;
}

int Folder::setMode(mode_t mode) const {
  return changeMode(file_.get(), mode);
}

int Folder::removeFile(std::string_view path) const {
  const Place place = placeOf(path);
  if (place.error != 0) return place.error;
  return errorOf(::unlinkat(place.folder, place.name.c_str(), 0));
}

int Folder::removeFolder(std::string_view path) const {
  const Place place = placeOf(path);
  if (place.error != 0) return place.error;
  return errorOf(::unlinkat(place.folder, place.name.c_str(), AT_REMOVEDIR));
}

int Folder::removeTree(std::string_view path) const {
  return removeTree(path, 1);
}

int Folder::removeTree(std::string_view path, int depth) const {
  // A level more would hold one descriptor too many.
  if (depth > kDeepestTree) return ENAMETOOLONG;
  {
    const Folder folder = openFolder(path);
    if (!folder) return errno;
    std::vector<Entry> entries;
    if (const int error = folder.list(entries); error != 0) return error;
    for (const Entry& entry : entries) {
      const int error = entry.kind == Kind::folder ? folder.removeTree(entry.name, depth + 1)
                                                   : folder.removeFile(entry.name);
      // Somebody else may remove the same tree.
      if (error != 0 && error != ENOENT) return error;
    }
  }
  return removeFolder(path);
}

int Folder::rename(std::string_view path, const Folder& into, std::string_view newPath,
                   Existing existing) const {
  const Place from = placeOf(path);
  if (from.error != 0) return from.error;
  const Place to = into.placeOf(newPath);
  if (to.error != 0) return to.error;
  const char* name = from.name.c_str();
  const char* newName = to.name.c_str();
  if (existing == Existing::replace) {
    return errorOf(::renameat2(from.folder, name, to.folder, newName, 0));
  }
  if (::renameat2(from.folder, name, to.folder, newName, RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system that cannot rename so can link so.
  if (::linkat(from.folder, name, to.folder, newName, 0) != 0) return errno;
  return errorOf(::unlinkat(from.folder, name, 0));
}

FileDescriptor Folder::makeUnnamedFile(mode_t mode) const {
  return FileDescriptor(::openat(file_.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
}

int Folder::nameFile(const FileDescriptor& file, std::string_view path) const {
  const Place to = placeOf(path);
  if (to.error != 0) return to.error;
  const std::string from = "/proc/self/fd/" + std::to_string(file.get());
  return errorOf(::linkat(AT_FDCWD, from.c_str(), to.folder, to.name.c_str(), AT_SYMLINK_FOLLOW));
}

int Folder::link(std::string_view path, const Folder& into, std::string_view newPath) const {
  const Place from = placeOf(path);
  if (from.error != 0) return from.error;
  const Place to = into.placeOf(newPath);
  if (to.error != 0) return to.error;
  return errorOf(::linkat(from.folder, from.name.c_str(), to.folder, to.name.c_str(), 0));
}

int Folder::sync() const {
  const FileDescriptor file(::openat(file_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return file ? errorOf(::fsync(file.get())) : errno;
}

FileDescriptor HeldFile::open() const {
  if (folder == nullptr) return failed(ENOENT);
  FileDescriptor file = folder->openRegularFile(path);
  if (file || (errno != ELOOP && errno != EXDEV && errno != ENOTDIR && errno != EINVAL)) {
    return file;
  }
  return failed(ENOENT);
}

}  // namespace quorvin
