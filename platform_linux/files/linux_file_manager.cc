#include "platform_linux/files/linux_file_manager.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>

#include "platform_linux/errors/presented.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/side_file.h"
#include "posix/write_all.h"

namespace quorvin {

namespace {

NSError removalError(const std::string& path, int errorNumber) {
  return presented(
      fileFailure("the item " + quotedName(path) + " couldn’t be removed", errorNumber));
}

NSError datesError(const std::string& path, int errorNumber) {
  return presented(
      fileFailure("the dates of " + quotedName(path) + " couldn’t be set", errorNumber));
}

std::string withoutSlashesAtEnd(std::string path) {
  while (path.ends_with('/')) path.pop_back();
  return path;
}

bool isNumber(const std::optional<NSDate>& date) {
  return !date || std::isfinite(date->timeIntervalSince1970());
}

/// Dates that the system's type cannot hold become the nearest that it can. File systems cut them
/// once more to what they can hold.
timespec timespecOf(NSDate date) {
  // The greatest doubles of which a 64-bit integer can hold the floor.
  constexpr double kFarthest = 9.2e18;
  const double seconds = std::clamp(date.timeIntervalSince1970(), -kFarthest, kFarthest);
  const double whole = std::floor(seconds);
  timespec time = {};
  time.tv_sec = static_cast<time_t>(whole);
  time.tv_nsec = std::min(std::lround((seconds - whole) * 1e9), 999'999'999L);
  return time;
}

void noteCreationDate(NSDate date, int file) {
  std::array<char, 352> text;  // as many as the longest double has
  const auto end = std::to_chars(text.begin(), text.end(), date.timeIntervalSince1970(),
                                 std::chars_format::fixed);
  // Not every file system has attributes, and none of them is worth failing for.
  ::fsetxattr(file, "user.quorvin.creationDate", text.data(),
              static_cast<std::size_t>(end.ptr - text.data()), 0);
}

}  // namespace

std::optional<NSError> LinuxFileManager::createDirectory(const std::string& path) {
  constexpr unsigned kMode = 0777;
  int error = 0;
  if (temporary_.holds(path)) {
    // What lies in the temporary directory must not make it by the way: it has a mode of its own.
    error = temporary_.make();
    const FilePlace place = temporary_.placeOf(withoutSlashesAtEnd(path));
    if (error == 0) error = place.error;
    if (error == 0) error = makeFolders(place.folder, place.path, kMode);
  } else {
    error = makeFolders(path, kMode);
  }
  if (error == 0) return std::nullopt;
  return presented(fileFailure("the folder " + quotedName(path) +
                                   " couldn’t be made in the folder " + quotedName(folderOf(path)),
                               error));
}

bool LinuxFileManager::fileExists(const std::string& path) {
  const bool isTaken = temporary_.placeOf(path).isTaken();
  if (!isTaken) temporary_.inUse().clear(path);
  return isTaken;
}

std::optional<NSError> LinuxFileManager::removeItem(const std::string& path) {
  // Neither the folder itself nor the one above it: nobody means all that is in them.
  const std::string name = quotedName(path);
  if (name == "“.”" || name == "“..”" || name == "“/”") return removalError(path, EINVAL);
  const auto clearing = temporary_.inUse().clear(path);
  if (clearing.isBeingWritten) return std::nullopt;
  const FilePlace place = temporary_.placeOf(withoutSlashesAtEnd(path));
  struct stat status = {};
  int error = place.error;
  if (error == 0) error = place.folder.status(place.path, status);
  if (error == 0) {
    error = S_ISDIR(status.st_mode) ? place.folder.removeTree(place.path)
                                    : place.folder.removeFile(place.path);
  }
  if (error == 0) return std::nullopt;
  if (error == ENOENT && temporary_.inUse().wasClearedByAnother(path, clearing)) {
    return std::nullopt;
  }
  temporary_.inUse().takeBack(path);
  return removalError(path, error);
}

std::optional<NSError> LinuxFileManager::writeAtomically(const ByteBuffer& data,
                                                         const std::string& path) {
  const auto use = temporary_.inUse().begin(path);
  SideFile side(temporary_.placeOf(path));
  int error = side.error();
  if (error == 0) error = writeAll(side.file().get(), data.bytes());
  if (error == 0) error = side.sync();
  if (error == 0) error = side.moveIntoPlace();
  if (error == 0) return std::nullopt;
  return presented(savingFailure(path, error));
}

std::optional<NSError> LinuxFileManager::setAttributes(const NSFileAttributes& attributes,
                                                       const std::string& path) {
  const std::optional<NSDate>& creation = attributes.NSFileCreationDate;
  const std::optional<NSDate>& modification = attributes.NSFileModificationDate;
  if (!isNumber(creation) || !isNumber(modification)) return datesError(path, EINVAL);
  const FilePlace place = temporary_.placeOf(path);
  if (place.error != 0) return datesError(path, place.error);
  const FileDescriptor file = place.folder.openFile(place.path, O_RDONLY);
  if (!file) {
    const int error = errno;
    // Whoever writes it anew has removed it.
    if (error == ENOENT && temporary_.inUse().isInUse(path)) return std::nullopt;
    return datesError(path, error);
  }
  if (modification) {
    std::array<timespec, 2> times = {};
    times[0].tv_nsec = UTIME_OMIT;
    times[1] = timespecOf(*modification);
    if (::futimens(file.get(), times.data()) != 0) return datesError(path, errno);
  }
  if (creation) noteCreationDate(*creation, file.get());
  return std::nullopt;
}

}  // namespace quorvin
