#include "platform_linux/files/space_reserve.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace quorvin {
namespace {

// A library's log has about as much before it is brought into the catalogue. Where the catalogue
// grows by all of it, that fits, and the log's own space is free afterwards.
constexpr std::int64_t kWhole = 4 * 1024 * 1024;
constexpr std::int64_t kLeftOfMost = 4;
constexpr std::int64_t kStep = 4096;

// What fits of it: others may take space at the same time.
void extend(const FileDescriptor& file, std::int64_t size, std::int64_t free) {
  std::int64_t wanted = std::min(kWhole - size, free / kStep * kStep);
  for (; wanted >= kStep; wanted = wanted / 2 / kStep * kStep) {
    if (::posix_fallocate(file.get(), size, wanted) == 0) return;
    // Part of it may have been taken.
    if (::ftruncate(file.get(), size) != 0) return;
  }
}

}  // namespace

std::int64_t SpaceReserve::freeBytes() const {
  struct statvfs volume = {};
  if (::fstatvfs(folder_.descriptor(), &volume) != 0) return 0;
  return static_cast<std::int64_t>(volume.f_bavail) * static_cast<std::int64_t>(volume.f_frsize);
}

std::optional<std::int64_t> SpaceReserve::size() const {
  struct stat status = {};
  if (folder_.status(name_, status) != 0) return std::nullopt;
  return status.st_size;
}

bool SpaceReserve::isWhole() const {
  return size().value_or(0) >= kWhole;
}

bool SpaceReserve::isInUse() const {
  const auto now = size();
  return now && *now < kWhole;
}

// Only a file that is ours alone: another name of it may lie anywhere.
FileDescriptor SpaceReserve::open(struct stat& status) const {
  FileDescriptor file = folder_.openFile(name_, O_RDWR);
  const bool isOurs =
      file && ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
  return isOurs ? std::move(file) : FileDescriptor();
}

bool SpaceReserve::giveUp(Part part) const {
  struct stat status = {};
  const FileDescriptor file = open(status);
  if (!file || status.st_size == 0) return false;
  const off_t left = part == Part::all ? 0 : status.st_size / kLeftOfMost;
  // Some file systems give space back only once that is durable.
  return ::ftruncate(file.get(), left) == 0 && ::fsync(file.get()) == 0;
}

void SpaceReserve::keep() const {
  if (isWhole()) return;
  const std::int64_t free = freeBytes();
  struct stat status = {};
  FileDescriptor file = open(status);
  if (!file && !size() && free >= 2 * kWhole) {
    file = folder_.openFile(name_, O_RDWR | O_CREAT | O_EXCL, 0600);
    if (file) ::fchmod(file.get(), 0600);
  }
  if (file) extend(file, status.st_size, free);
}

}  // namespace quorvin
