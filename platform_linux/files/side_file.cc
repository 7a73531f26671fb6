#include "platform_linux/files/side_file.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <utility>

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

SideFile::SideFile(FilePlace target) : target_(std::move(target)), error_(target_.error) {
  if (error_ == 0 && target_.path.empty()) error_ = ENOENT;
  if (error_ != 0) return;
  const std::size_t slash = target_.path.rfind('/');
  path_ = slash == target_.path.npos ? "" : target_.path.substr(0, slash + 1);
  path_ += unforeseeableName();
  file_ = target_.folder.openFile(path_, O_RDWR | O_CREAT | O_EXCL, 0644);
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

}  // namespace quorvin
