#include "platform_linux/files/side_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform_linux/errors/system_failure.h"

namespace quorvin {

namespace {

std::string unforeseeableName() {
  std::uint64_t number = 0;
  while (::getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) {
  }
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string name = ".quorvin-";
  for (int i = 0; i < 16; ++i, number >>= 4) name += kDigits[number & 0xF];
  return name;
}

}  // namespace

SideFile::SideFile(const std::string& target) : target_(target) {
  if (target.empty()) {
    error_ = ENOENT;
    return;
  }
  path_ = folderOf(target) + "/" + unforeseeableName();
  file_ = FileDescriptor(::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (file_) return;
  error_ = errno;
  path_.clear();
}

SideFile::~SideFile() {
  if (!path_.empty()) ::unlink(path_.c_str());
}

int SideFile::sync() {
  return ::fsync(file_.get()) == 0 ? 0 : errno;
}

int SideFile::moveIntoPlace(Existing existing) {
  if (existing == Existing::keep) return moveToFreePlace();
  if (::rename(path_.c_str(), target_.c_str()) != 0) return errno;
  path_.clear();
  return 0;
}

int SideFile::moveToFreePlace() {
  if (::renameat2(AT_FDCWD, path_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) == 0) {
    path_.clear();
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system that cannot rename so can link so. The other name goes with this object.
  return ::link(path_.c_str(), target_.c_str()) == 0 ? 0 : errno;
}

}  // namespace quorvin
