#include "platform_linux/files/side_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvin {

namespace {

constexpr std::string_view kPrefix = ".quorvin-";
constexpr std::string_view kDigits = "0123456789abcdef";
constexpr std::size_t kDigitCount = 16;

std::string unforeseeableName() {
  std::uint64_t number = 0;
  while (::getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) {
  }
  std::string name(kPrefix);
  for (std::size_t i = 0; i < kDigitCount; ++i, number >>= 4) name += kDigits[number & 0xF];
  return name;
}

bool isSideFileName(std::string_view name) {
  return name.size() == kPrefix.size() + kDigitCount && name.starts_with(kPrefix) &&
         name.find_first_not_of(kDigits, kPrefix.size()) == name.npos;
}

/// Holds a new file, as long as it is open here or in a worker. False when somebody took it for
/// abandoned before that.
bool hold(const FileDescriptor& file) {
  while (::flock(file.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
  struct stat status = {};
  return ::fstat(file.get(), &status) != 0 || status.st_nlink > 0;
}

}  // namespace

SideFile::SideFile(FilePlace target) : target_(std::move(target)), error_(target_.error) {
  if (error_ == 0 && target_.path.empty()) error_ = ENOENT;
  if (error_ != 0) return;
  const std::size_t slash = target_.path.rfind('/');
  const std::string folder = slash == target_.path.npos ? "" : target_.path.substr(0, slash + 1);
  do {
    path_ = folder + unforeseeableName();
    file_ = target_.folder.openFile(path_, O_RDWR | O_CREAT | O_EXCL, 0644);
  } while (file_ && !hold(file_));
  if (file_) return;
  error_ = errno;
  path_.clear();
}

SideFile::~SideFile() {
  if (!path_.empty()) target_.folder.removeFile(path_);
}

int SideFile::sync() {
  return ::fsync(file_.get()) == 0 ? 0 : errno;
}

int SideFile::moveIntoPlace(Folder::Existing existing) {
  const int error = target_.folder.rename(path_, target_.folder, target_.path, existing);
  if (error == 0) path_.clear();
  return error;
}

void removeAbandonedSideFiles(const Folder& folder) {
  std::vector<Folder::Entry> entries;
  folder.list(entries);
  for (const Folder::Entry& each : entries) {
    if (each.kind != Folder::Kind::file || !isSideFileName(each.name)) continue;
    const FileDescriptor file = folder.openRegularFile(each.name);
    if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) folder.removeFile(each.name);
  }
}

}  // namespace quorvin
