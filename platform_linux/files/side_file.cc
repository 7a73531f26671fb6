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
constexpr mode_t kMode = 0644;

std::string unforeseeableName() {
  std::uint64_t number = 0;
  while (::getrandom(&number, sizeof number, 0) != static_cast<ssize_t>(sizeof number)) {
  }
  std::string name(kPrefix);
  for (std::size_t i = 0; i < kDigitCount; ++i, number >>= 4) name += kDigits[number & 0xF];
  return name;
}

bool isSideFile(std::string_view name) {
  return name.size() == kPrefix.size() + kDigitCount && name.starts_with(kPrefix) &&
         name.find_first_not_of(kDigits, kPrefix.size()) == name.npos;
}

/// Holds a new file, as long as it is open here or in a worker, so that nobody takes it for
/// abandoned.
void hold(const FileDescriptor& file) {
  while (::flock(file.get(), LOCK_EX) != 0 && errno == EINTR) {
  }
}

bool hasName(const FileDescriptor& file) {
  struct stat status = {};
  return ::fstat(file.get(), &status) != 0 || status.st_nlink > 0;
}

}  // namespace

SideFile::SideFile(FilePlace target, Name name)
    : target_(std::move(target)), error_(target_.error) {
  if (error_ == 0 && target_.path.empty()) error_ = ENOENT;
  if (error_ != 0) return;
  beside_ = target_.path.substr(0, target_.path.rfind('/') + 1);
  if (name == Name::none) makeUnnamed();
  if (!file_) makeHidden();
}

void SideFile::makeUnnamed() {
  if (beside_.empty()) {
    file_ = target_.folder.makeUnnamedFile(kMode);
  } else {
    const Folder folder =
        target_.folder.openFolder(std::string_view(beside_).substr(0, beside_.size() - 1));
    if (folder) file_ = folder.makeUnnamedFile(kMode);
  }
  if (file_) hold(file_);
}

void SideFile::makeHidden() {
  do {
    path_ = beside_ + unforeseeableName();
    file_ = target_.folder.openFile(path_, O_RDWR | O_CREAT | O_EXCL, kMode);
    if (!file_) {
      error_ = errno;
      path_.clear();
      return;
    }
    hold(file_);
    // Somebody may have taken it for abandoned before that.
  } while (!hasName(file_));
}

SideFile::~SideFile() {
  if (!path_.empty()) target_.folder.removeFile(path_);
}

int SideFile::sync() {
  return ::fsync(file_.get()) == 0 ? 0 : errno;
}

int SideFile::moveIntoPlace() {
  const Folder& folder = target_.folder;
  if (path_.empty()) {
    int error = folder.nameFile(file_, target_.path);
    if (error != EEXIST) return error;
    // Only a name can take the place of another.
    std::string path = beside_ + unforeseeableName();
    error = folder.nameFile(file_, path);
    if (error != 0) return error;
    path_ = std::move(path);
  }
  const int error = folder.rename(path_, folder, target_.path, Folder::Existing::replace);
  if (error == 0) path_.clear();
  return error;
}

void removeAbandonedSideFiles(const Folder& folder) {
  std::vector<Folder::Entry> entries;
  folder.list(entries);
  for (const Folder::Entry& each : entries) {
    if (each.kind != Folder::Kind::file || !isSideFile(each.name)) continue;
    const FileDescriptor file = folder.openRegularFile(each.name);
    if (file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0) folder.removeFile(each.name);
  }
}

}  // namespace quorvin
