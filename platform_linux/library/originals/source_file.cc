#include "platform_linux/library/originals/source_file.h"

#include <fcntl.h>
#include <sys/statfs.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "codec/utf8.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/file_system_reach.h"

namespace quorvin {

namespace {

bool areSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool isOfCatalogue(const LibraryFolder& library, int file) {
  struct stat status = {};
  if (::fstat(file, &status) != 0) return false;
  return std::ranges::any_of(LibraryFolder::kFiles, [&](std::string_view name) {
    struct stat ours = {};
    return library.held->status(name, ours) == 0 && areSame(status, ours);
  });
}

// The folder in which the file lies that the path leads to.
std::string realFolderOf(const std::string& path) {
  std::error_code error;
  return std::filesystem::canonical(path, error).parent_path().string();
}

std::int64_t nanosecondsOf(const struct timespec& time) {
  // Nanoseconds reach from 1677 to 2262; file systems reach further.
  std::int64_t nanoseconds = 0;
  if (__builtin_mul_overflow(time.tv_sec, 1'000'000'000LL, &nanoseconds) ||
      __builtin_add_overflow(nanoseconds, time.tv_nsec, &nanoseconds)) {
    return time.tv_sec < 0 ? std::numeric_limits<std::int64_t>::min()
                           : std::numeric_limits<std::int64_t>::max();
  }
  return nanoseconds;
}

// Two changes within so long may leave the same time: a tick of the system's clock, or, where a
// file system keeps whole seconds, these.
std::int64_t grainOf(std::int64_t time) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  constexpr std::int64_t kTick = 100'000'000;
  return time % kSecond == 0 ? 2 * kSecond : kTick;
}

bool showsChangesAfter(std::int64_t moment, int file, std::int64_t changed) {
  struct statfs system = {};
  return changed < moment - grainOf(changed) && ::fstatfs(file, &system) == 0 &&
         keepsTrackOfChanges(static_cast<std::uint32_t>(system.f_type));
}

}  // namespace

bool folderLiesIn(const LibraryFolder& library, const std::string& path) {
  const FileDescriptor folder(::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  return folder && folderLiesIn(library, folder.get());
}

bool folderLiesIn(const LibraryFolder& library, int opened) {
  constexpr int kFind = O_PATH | O_DIRECTORY | O_CLOEXEC;
  struct stat root = {};
  if (!library.held || ::fstat(library.held->descriptor(), &root) != 0) return false;
  FileDescriptor folder(::openat(opened, ".", kFind));
  struct stat below = {};
  struct stat status = {};
  while (folder && ::fstat(folder.get(), &status) == 0) {
    if (areSame(status, root)) return true;
    if (areSame(status, below)) return false;  // nothing is above it
    below = status;
    folder = FileDescriptor(::openat(folder.get(), "..", kFind));
  }
  return false;
}

bool fileLiesIn(const LibraryFolder& library, const std::string& path) {
  return folderLiesIn(library, realFolderOf(path));
}

std::string_view nameOfSource(std::string_view path) {
  return path.substr(path.rfind('/') + 1);
}

std::string folderOfSource(const std::string& path) {
  const std::filesystem::path asPath(path);
  std::error_code error;
  return std::filesystem::canonical(asPath.has_parent_path() ? asPath.parent_path() : ".", error)
      .string();
}

std::int64_t modificationTime(const struct stat& status) {
  return nanosecondsOf(status.st_mtim);
}

SourceState stateOf(const struct stat& status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = status.st_size,
          .modified = modificationTime(status),
          .changed = nanosecondsOf(status.st_ctim)};
}

Result<FileDescriptor> openSource(const LibraryFolder& library, const std::string& path) {
  const std::string failure = "the file cannot be read";
  // The system would take what stands before it for the whole path.
  if (path.find('\0') != std::string::npos) return systemFailure(failure, ENOENT);
  {
    // Without reading it: closing a file of the catalogue that was open for reading would give up
    // the locks that SQLite has on it in this process.
    const FileDescriptor found(::open(path.c_str(), O_PATH | O_CLOEXEC));
    if (!found) return systemFailure(failure, errno);
    if (isOfCatalogue(library, found.get()) || fileLiesIn(library, path)) {
      return Failure(LibraryErrorCode::invalidResource, kLiesInTheLibrary);
    }
  }
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0) return systemFailure(failure, errno);
  if (!S_ISREG(status.st_mode)) {
    return Failure(LibraryErrorCode::invalidResource, "it is not a regular file.");
  }
  if (status.st_size == 0) {
    return Failure(LibraryErrorCode::invalidResource, "the file is empty.");
  }
  return file;
}

SourceFile describeSource(const FileDescriptor& source, const std::string& path) {
  struct stat status = {};
  ::fstat(source.get(), &status);
  SourceFile file;
  static_cast<SourceState&>(file) = stateOf(status);
  file.path = path;
  file.folder = folderOfSource(path);
  file.name = std::string(nameOfSource(path));
  file.added = std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
                   .count();
  file.showsChanges = showsChangesAfter(file.added, source.get(), file.changed);
  return file;
}

NewAsset newAssetOf(const std::string& identifier, const SourceFile& file) {
  NewAsset asset;
  asset.identifier = identifier;
  asset.probe = file.probe;
  asset.probe.burstIdentifier = validUtf8(file.probe.burstIdentifier);
  asset.probe.contentIdentifier = validUtf8(file.probe.contentIdentifier);
  asset.modified = file.modified;
  asset.added = file.added;
  return asset;
}

}  // namespace quorvin
