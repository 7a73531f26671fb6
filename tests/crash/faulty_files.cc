// Stands before the C library: the program that links this calls these functions, and so do all
// libraries in its process.
#include "tests/crash/faulty_files.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <signal.h>
#include <stdarg.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <utility>

#include "tests/crash/file_record.h"

namespace quorvin {
namespace {

struct Plan {
  std::string folder;  ///< with a slash behind it
  Fault fault;
};

// Functions that replace those of C have nowhere else to look.
std::atomic<const Plan*> plan = nullptr;
std::atomic<int> counted = 0;

bool counts(const Fault& fault, std::string_view call) {
  if (fault.calls == call || (fault.calls == "any" && call != "open")) return true;
  constexpr std::array<std::string_view, 6> kSpace = {"write",  "pwrite", "mkdir",
                                                      "create", "copy",   "allocate"};
  return fault.calls == "space" && std::find(kSpace.begin(), kSpace.end(), call) != kSpace.end();
}

std::string pathOf(int fd) {
  std::array<char, PATH_MAX> path;
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  const long size = ::syscall(SYS_readlinkat, AT_FDCWD, link.c_str(), path.data(), path.size());
  return size > 0 ? std::string(path.data(), static_cast<std::size_t>(size)) : std::string();
}

std::string pathAt(int folder, const char* path) {
  if (path[0] == '/' || folder == AT_FDCWD) return path;
  return pathOf(folder) + "/" + path;
}

[[noreturn]] void die() {
  ::kill(::getpid(), SIGKILL);
  for (;;) ::pause();
}

// The error number with which this call is to fail, or 0. Does not return when it is to die.
template <class Half>
int faultOf(std::string_view call, const std::string& path, Half&& half) {
  const Plan* now = plan.load();
  if (now == nullptr || !path.starts_with(now->folder) || !counts(now->fault, call)) return 0;
  const Fault& fault = now->fault;
  const int number = ++counted;
  if (number < fault.number) return 0;
  if (number > fault.number) return fault.kind == Fault::Kind::failOn ? fault.errorNumber : 0;
  if (fault.kind == Fault::Kind::killHalf) half();
  if (fault.kind == Fault::Kind::kill || fault.kind == Fault::Kind::killHalf) die();
  return fault.errorNumber;
}

bool isArmed() {
  return plan.load() != nullptr;
}

template <class Half>
bool fails(std::string_view call, int fd, Half&& half) {
  if (!isArmed()) return false;
  const int kept = errno;
  const int error = faultOf(call, pathOf(fd), std::forward<Half>(half));
  errno = error != 0 ? error : kept;
  return error != 0;
}

bool fails(std::string_view call, int fd) {
  return fails(call, fd, [] {});
}

bool failsAt(std::string_view call, int folder, const char* path) {
  if (!isArmed() || path == nullptr) return false;
  const int kept = errno;
  const int error = faultOf(call, pathAt(folder, path), [] {});
  errno = error != 0 ? error : kept;
  return error != 0;
}

bool makesFile(int flags) {
  return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

int openFile(int folder, const char* path, int flags, mode_t mode) {
  if (makesFile(flags) && failsAt("create", folder, path)) return -1;
  if (failsAt("open", folder, path)) return -1;
  const bool isNew =
      isRecording() && makesFile(flags) && ::syscall(SYS_faccessat, folder, path, F_OK) != 0;
  const int fd = static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
  if (fd >= 0 && isNew) record(FileOperation::Kind::createFile, pathOf(fd));
  if (fd >= 0 && !isNew && (flags & O_TRUNC) != 0 && isRecording()) {
    record(FileOperation::Kind::truncate, pathOf(fd));
  }
  return fd;
}

/// The result of a write, which is noted.
ssize_t recorded(int fd, const void* bytes, off64_t offset, ssize_t written) {
  if (written > 0 && isRecording()) {
    record(FileOperation::Kind::write, pathOf(fd), {}, offset,
           {static_cast<const char*>(bytes), static_cast<std::size_t>(written)});
  }
  return written;
}

/// The result of a call that is noted where it went well.
int recordedAt(FileOperation::Kind kind, int folder, const char* path, long result) {
  if (result == 0 && isRecording()) record(kind, pathAt(folder, path));
  return static_cast<int>(result);
}

int recordedOn(FileOperation::Kind kind, int fd, long result, std::int64_t offset = 0) {
  if (result == 0 && isRecording()) record(kind, pathOf(fd), {}, offset);
  return static_cast<int>(result);
}

ssize_t writeAt(int fd, const void* bytes, std::size_t size, off64_t offset) {
  const auto write = [&](std::size_t some) {
    return ::syscall(SYS_pwrite64, fd, bytes, some, offset);
  };
  if (fails("pwrite", fd, [&] { write(size / 2); })) return -1;
  return recorded(fd, bytes, offset, write(size));
}

}  // namespace

void inject(const std::string& folder, const Fault& fault) {
  // Never freed: threads may call until the process has gone.
  plan = new Plan{folder + "/", fault};
}

bool wasFaultReached() {
  const Plan* now = plan.load();
  return now != nullptr && counted >= now->fault.number;
}

}  // namespace quorvin

#define QUORVIN_REPLACES __attribute__((visibility("default")))

using Kind = quorvin::FileOperation::Kind;

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

QUORVIN_REPLACES ssize_t write(int fd, const void* bytes, size_t size) {
  const auto half = [&] { ::syscall(SYS_write, fd, bytes, size / 2); };
  if (quorvin::fails("write", fd, half)) return -1;
  const off64_t offset = quorvin::isRecording() ? ::lseek64(fd, 0, SEEK_CUR) : 0;
  return quorvin::recorded(fd, bytes, offset, ::syscall(SYS_write, fd, bytes, size));
}

QUORVIN_REPLACES ssize_t pwrite64(int fd, const void* bytes, size_t size, off64_t offset) {
  return quorvin::writeAt(fd, bytes, size, offset);
}

QUORVIN_REPLACES ssize_t pwrite(int fd, const void* bytes, size_t size, off_t offset) {
  return quorvin::writeAt(fd, bytes, size, offset);
}

QUORVIN_REPLACES int fsync(int fd) {
  if (quorvin::fails("fsync", fd)) return -1;
  return quorvin::recordedOn(Kind::sync, fd, ::syscall(SYS_fsync, fd));
}

QUORVIN_REPLACES int fdatasync(int fd) {
  if (quorvin::fails("fdatasync", fd)) return -1;
  return quorvin::recordedOn(Kind::sync, fd, ::syscall(SYS_fdatasync, fd));
}

QUORVIN_REPLACES int syncfs(int fd) noexcept {
  if (quorvin::fails("syncfs", fd)) return -1;
  return quorvin::recordedOn(Kind::syncAll, fd, ::syscall(SYS_syncfs, fd));
}

QUORVIN_REPLACES int renameat2(int from, const char* old, int to, const char* fresh,
                               unsigned int flags) noexcept {
  if (quorvin::failsAt("rename", to, fresh)) return -1;
  const long result = ::syscall(SYS_renameat2, from, old, to, fresh, flags);
  if (result == 0 && quorvin::isRecording()) {
    quorvin::record(Kind::rename, quorvin::pathAt(from, old), quorvin::pathAt(to, fresh));
  }
  return static_cast<int>(result);
}

QUORVIN_REPLACES int rename(const char* old, const char* fresh) noexcept {
  return renameat2(AT_FDCWD, old, AT_FDCWD, fresh, 0);
}

QUORVIN_REPLACES int unlinkat(int folder, const char* path, int flags) noexcept {
  if (quorvin::failsAt("unlink", folder, path)) return -1;
  const Kind kind = (flags & AT_REMOVEDIR) != 0 ? Kind::removeFolder : Kind::removeFile;
  return quorvin::recordedAt(kind, folder, path, ::syscall(SYS_unlinkat, folder, path, flags));
}

QUORVIN_REPLACES int unlink(const char* path) noexcept {
  return unlinkat(AT_FDCWD, path, 0);
}

QUORVIN_REPLACES int rmdir(const char* path) noexcept {
  return unlinkat(AT_FDCWD, path, AT_REMOVEDIR);
}

QUORVIN_REPLACES int mkdirat(int folder, const char* path, mode_t mode) noexcept {
  if (quorvin::failsAt("mkdir", folder, path)) return -1;
  return quorvin::recordedAt(Kind::makeFolder, folder, path,
                             ::syscall(SYS_mkdirat, folder, path, mode));
}

QUORVIN_REPLACES int mkdir(const char* path, mode_t mode) noexcept {
  return mkdirat(AT_FDCWD, path, mode);
}

QUORVIN_REPLACES ssize_t copy_file_range(int from, off64_t* source, int to, off64_t* target,
                                         size_t size, unsigned int flags) {
  const auto half = [&] {
    ::syscall(SYS_copy_file_range, from, source, to, target, size / 2, flags);
  };
  if (quorvin::fails("copy", to, half)) return -1;
  if (quorvin::isRecording()) {
    // So that what is copied passes through `write`.
    errno = EOPNOTSUPP;
    return -1;
  }
  return ::syscall(SYS_copy_file_range, from, source, to, target, size, flags);
}

QUORVIN_REPLACES int ioctl(int fd, unsigned long request, ...) noexcept {
  va_list rest;
  va_start(rest, request);
  void* argument = va_arg(rest, void*);
  va_end(rest);
  if (request == FICLONE && quorvin::isRecording()) {
    errno = EOPNOTSUPP;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_ioctl, fd, request, argument));
}

QUORVIN_REPLACES int posix_fallocate64(int fd, off64_t offset, off64_t size) {
  if (quorvin::fails("allocate", fd)) return errno;
  return ::syscall(SYS_fallocate, fd, 0, offset, size) == 0 ? 0 : errno;
}

QUORVIN_REPLACES int posix_fallocate(int fd, off_t offset, off_t size) {
  return posix_fallocate64(fd, offset, size);
}

QUORVIN_REPLACES int ftruncate64(int fd, off64_t size) noexcept {
  if (quorvin::fails("truncate", fd)) return -1;
  return quorvin::recordedOn(Kind::truncate, fd, ::syscall(SYS_ftruncate, fd, size), size);
}

QUORVIN_REPLACES int ftruncate(int fd, off_t size) noexcept {
  return ftruncate64(fd, size);
}

// `openat2` has no function of its own. All calls of this file come by here, too.
QUORVIN_REPLACES long syscall(long number, ...) noexcept {
  using Call = long (*)(long, ...);
  // No static variable that is made here: two threads that meet at its making wait by this call.
  static constinit std::atomic<Call> known = nullptr;
  Call call = known.load();
  if (call == nullptr) known = call = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "syscall"));
  va_list rest;
  va_start(rest, number);
  std::array<long, 6> words;
  for (long& word : words) word = va_arg(rest, long);
  va_end(rest);
  if (number == SYS_openat2 && quorvin::failsAt("open", static_cast<int>(words[0]),
                                                reinterpret_cast<const char*>(words[1]))) {
    return -1;
  }
  return call(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}

QUORVIN_REPLACES int openat64(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = quorvin::makesFile(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return quorvin::openFile(folder, path, flags, mode);
}

QUORVIN_REPLACES int openat(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = quorvin::makesFile(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return quorvin::openFile(folder, path, flags, mode);
}

QUORVIN_REPLACES int open64(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = quorvin::makesFile(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return quorvin::openFile(AT_FDCWD, path, flags, mode);
}

QUORVIN_REPLACES int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const mode_t mode = quorvin::makesFile(flags) ? va_arg(rest, mode_t) : 0;
  va_end(rest);
  return quorvin::openFile(AT_FDCWD, path, flags, mode);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
