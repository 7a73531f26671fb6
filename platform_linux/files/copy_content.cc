#include "platform_linux/files/copy_content.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <vector>

namespace quorvin {

namespace {

constexpr std::int64_t kBlock = 262'144;  // bytes
// What one system call copies: some tenths of a second at most, so that stopping does not take
// long.
constexpr std::int64_t kStretch = 64LL * 1024 * 1024;

CopyFailure ofSource(int errorNumber) {
  return {.isOfSource = true, .errorNumber = errorNumber};
}
CopyFailure ofTarget(int errorNumber) {
  return {.isOfSource = false, .errorNumber = errorNumber};
}

bool isWholeFile(int file, std::int64_t offset, std::int64_t length) {
  struct stat status = {};
  return offset == 0 && ::fstat(file, &status) == 0 && status.st_size == length;
}

bool writeAt(int file, const char* bytes, std::size_t size, std::int64_t offset) {
  while (size > 0) {
    const ssize_t written = ::pwrite(file, bytes, size, offset);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
    offset += written;
  }
  return true;
}

std::optional<CopyFailure> copyByHand(int from, std::int64_t offset, std::int64_t length, int to,
                                      std::int64_t done, const std::stop_token& stop,
                                      const BytesListener& copied) {
  std::vector<char> block(static_cast<std::size_t>(kBlock));
  while (done < length) {
    if (stop.stop_requested()) return ofTarget(ECANCELED);
    const auto wanted = static_cast<std::size_t>(std::min(kBlock, length - done));
    const ssize_t got = ::pread(from, block.data(), wanted, offset + done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return ofSource(errno);
    if (got == 0) return ofSource(EIO);
    if (!writeAt(to, block.data(), static_cast<std::size_t>(got), done)) return ofTarget(errno);
    done += got;
    if (copied) copied(got);
  }
  return std::nullopt;
}

}  // namespace

std::optional<CopyFailure> copyContent(int from, std::int64_t offset, std::int64_t length, int to,
                                       const std::stop_token& stop, const BytesListener& copied) {
  if (isWholeFile(from, offset, length) && ::ioctl(to, FICLONE, from) == 0) {
    if (copied) copied(length);
    return std::nullopt;
  }
  std::int64_t done = 0;
  while (done < length) {
    if (stop.stop_requested()) return ofTarget(ECANCELED);
    off64_t source = offset + done;
    off64_t target = done;
    const auto stretch = static_cast<std::size_t>(std::min(kStretch, length - done));
    const ssize_t got = ::copy_file_range(from, &source, to, &target, stretch, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)) {
      return ofTarget(errno);
    }
    // Some pairs of file systems cannot do it, and some report an end that is none.
    if (got <= 0) return copyByHand(from, offset, length, to, done, stop, copied);
    done += got;
    if (copied) copied(got);
  }
  return std::nullopt;
}

}  // namespace quorvin
