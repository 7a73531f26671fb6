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
#include <filesystem>
#include <system_error>

#include "platform_linux/errors/presented.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/files/side_file.h"

namespace quorvin {

namespace {

NSError removalError(const std::string& path, int errorNumber) {
  return presented(
      fileFailure("The item " + quotedName(path) + " couldn’t be removed", errorNumber));
}

NSError datesError(const std::string& path, int errorNumber) {
  return presented(
      fileFailure("The dates of " + quotedName(path) + " couldn’t be set", errorNumber));
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

void noteCreationDate(NSDate date, const std::string& path) {
  std::array<char, 352> text;  // as many as the longest double has
  const auto end = std::to_chars(text.begin(), text.end(), date.timeIntervalSince1970(),
                                 std::chars_format::fixed);
  // Not every file system has attributes, and none of them is worth failing for.
  ::setxattr(path.c_str(), "user.quorvin.creationDate", text.data(),
             static_cast<std::size_t>(end.ptr - text.data()), 0);
}

}  // namespace

std::optional<NSError> LinuxFileManager::createDirectory(const std::string& path) {
  int error = 0;
  // What lies in the temporary directory must not make it by the way: it has a mode of its own.
  if (temporary_.holds(path)) error = temporary_.make();
  if (error == 0) error = makeFolders(path, 0777);
  if (error == 0) return std::nullopt;
  return presented(fileFailure("The folder " + quotedName(path) +
                                   " couldn’t be made in the folder " + quotedName(folderOf(path)),
                               error));
}

bool LinuxFileManager::fileExists(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0;
}

std::optional<NSError> LinuxFileManager::removeItem(const std::string& path) {
  // Neither the folder itself nor the one above it: nobody means all that is in them.
  const std::string name = quotedName(path);
  if (name == "“.”" || name == "“..”" || name == "“/”") return removalError(path, EINVAL);
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) return removalError(path, errno);
  if (!S_ISDIR(status.st_mode)) {
    if (::unlink(path.c_str()) == 0) return std::nullopt;
    return removalError(path, errno);
  }
  std::error_code error;
  std::filesystem::remove_all(path, error);
  if (!error) return std::nullopt;
  return removalError(path, error.value());
}

std::optional<NSError> LinuxFileManager::writeAtomically(const ByteBuffer& data,
                                                         const std::string& path) {
  SideFile side(path);
  int error = side.error();
  if (error == 0) error = writeAll(side.file().get(), data.bytes());
  if (error == 0) error = side.sync();
  if (error == 0) error = side.moveIntoPlace(SideFile::Existing::replace);
  if (error == 0) return std::nullopt;
  return presented(savingFailure(path, error));
}

std::optional<NSError> LinuxFileManager::setAttributes(const NSFileAttributes& attributes,
                                                       const std::string& path) {
  const std::optional<NSDate>& creation = attributes.NSFileCreationDate;
  const std::optional<NSDate>& modification = attributes.NSFileModificationDate;
  if (!isNumber(creation) || !isNumber(modification)) return datesError(path, EINVAL);
  std::array<timespec, 2> times = {};
  times[0].tv_nsec = UTIME_OMIT;
  if (modification) {
    times[1] = timespecOf(*modification);
    if (::utimensat(AT_FDCWD, path.c_str(), times.data(), 0) != 0) return datesError(path, errno);
  }
  // With nothing to set the system would not even look whether there is such a file.
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0) return datesError(path, errno);
  if (creation) noteCreationDate(*creation, path);
  return std::nullopt;
}

}  // namespace quorvin
