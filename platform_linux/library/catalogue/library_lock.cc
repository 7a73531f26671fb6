// Locks of bytes of one file that nobody reads or writes. A file is opened for each lock, for such
// a lock belongs to the open file: closing another descriptor of it does not let go, as it would
// with the older locks, which belong to the process.
#include "platform_linux/library/catalogue/library_lock.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <thread>

#include "platform_linux/errors/system_failure.h"

namespace quorvin {
namespace {

constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kLookAgain{5};

// Open-file-description locks: they belong to the descriptor, not to the process, so that two
// holders within one process exclude each other as well.
struct flock regionOf(LibraryLock::Area area, LibraryLock::Mode mode) {
  struct flock region = {};
  region.l_type = mode == LibraryLock::Mode::exclusive ? F_WRLCK : F_RDLCK;
  region.l_whence = SEEK_SET;
  region.l_start = static_cast<off_t>(area);
  region.l_len = 1;
  return region;
}

bool setLock(int fd, LibraryLock::Area area, LibraryLock::Mode mode) {
  struct flock region = regionOf(area, mode);
  return ::fcntl(fd, F_OFD_SETLK, &region) == 0;
}

bool isLockFile(const LibraryFolder& folder, int fd) {
  struct stat open = {};
  struct stat there = {};
  return ::fstat(fd, &open) == 0 && folder.held->status(LibraryFolder::kLockFile, there) == 0 &&
         open.st_dev == there.st_dev && open.st_ino == there.st_ino;
}

}  // namespace

FileDescriptor LibraryLock::spare(const LibraryFolder& folder) {
  return folder.held->openFile(LibraryFolder::kLockFile, O_RDWR);
}

Result<LibraryLock> LibraryLock::tryAcquire(const LibraryFolder& folder, Area area, Mode mode,
                                            FileDescriptor* spare) {
  const bool isOnlyRead = folder.refusal.has_value();
  if (isOnlyRead && (area != Area::presence || mode != Mode::shared)) return *folder.refusal;
  const bool isSpared = spare != nullptr && *spare && isLockFile(folder, spare->get());
  FileDescriptor file =
      isSpared ? std::move(*spare)
               : folder.held->openFile(LibraryFolder::kLockFile, isOnlyRead ? O_RDONLY : O_RDWR);
  if (file && setLock(file.get(), area, mode)) return LibraryLock(std::move(file), area);
  if (file && (errno == EAGAIN || errno == EACCES)) {
    if (spare != nullptr) *spare = std::move(file);
    return Failure(LibraryErrorCode::operationInterrupted,
                   "the library is in use by another program, which holds the lock “" +
                       folder.lockFile() + "”.");
  }
  if (isOnlyRead) return LibraryLock({}, area);
  return systemFailure("the lock “" + folder.lockFile() + "” cannot be taken", errno);
}

Result<LibraryLock> LibraryLock::acquire(const LibraryFolder& folder, Area area, Mode mode,
                                         FileDescriptor* spare) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    auto lock = tryAcquire(folder, area, mode, spare);
    if (lock || !isHeld(lock.error()) || std::chrono::steady_clock::now() >= deadline) return lock;
    std::this_thread::sleep_for(kLookAgain);
  }
}

bool LibraryLock::isHeldByAnyone(const LibraryFolder& folder, Area area) {
  const FileDescriptor file = folder.held->openFile(LibraryFolder::kLockFile, O_RDWR);
  struct flock region = regionOf(area, Mode::exclusive);
  return file && ::fcntl(file.get(), F_OFD_GETLK, &region) == 0 && region.l_type != F_UNLCK;
}

bool LibraryLock::tryChange(Mode mode) {
  return setLock(file_.get(), area_, mode);
}

bool LibraryLock::isOfSameFile(const LibraryLock& other) const {
  struct stat mine = {};
  struct stat others = {};
  return ::fstat(file_.get(), &mine) == 0 && ::fstat(other.file_.get(), &others) == 0 &&
         mine.st_dev == others.st_dev && mine.st_ino == others.st_ino;
}

}  // namespace quorvin
