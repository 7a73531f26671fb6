#include "tool/serve/own_folder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform_linux/files/temporary_directory.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPrefix = "quorvin-served-";
constexpr int kAttempts = 8;

/// The folder's own lock, while the folder stands at its path; none when another process has it.
FileDescriptor lockOf(const std::string& path) {
  FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat locked = {};
  struct stat present = {};
  if (!folder || ::flock(folder.get(), LOCK_EX | LOCK_NB) != 0 ||
      ::fstat(folder.get(), &locked) != 0 || ::lstat(path.c_str(), &present) != 0 ||
      locked.st_ino != present.st_ino || locked.st_uid != ::geteuid()) {
    return FileDescriptor();
  }
  return folder;
}

void removeLeftovers(const std::string& parent) {
  std::error_code error;
  for (fs::directory_iterator entry(parent, error), end; !error && entry != end;
       entry.increment(error)) {
    if (!entry->path().filename().string().starts_with(kPrefix)) continue;
    std::error_code ignored;
    if (const FileDescriptor lock = lockOf(entry->path())) fs::remove_all(entry->path(), ignored);
  }
}

}  // namespace

Result<OwnFolder> OwnFolder::make() {
  const std::string parent = temporaryParent();
  const auto failed = [&parent] {
    return Failure(LibraryErrorCode::internal, "no folder can be made in “" + parent + "”: " +
                                                   std::generic_category().message(errno) + ".");
  };
  removeLeftovers(parent);
  std::string path;
  FileDescriptor lock;
  for (int attempt = 0; attempt < kAttempts && !lock; ++attempt) {
    path = parent + "/" + kPrefix + "XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) return failed();
    lock = lockOf(path);
    // Another server that starts may have taken it for a leftover.
    if (!lock) ::rmdir(path.c_str());
  }
  if (!lock) return failed();
  OwnFolder folder(std::move(path), std::move(lock));
  for (const std::string& each :
       {folder.exports(), folder.pictures(), folder.videos(), folder.uploads()}) {
    if (::mkdir(each.c_str(), S_IRWXU) != 0) return failed();
  }
  return folder;
}

OwnFolder::OwnFolder(OwnFolder&& other) noexcept
    : path_(std::exchange(other.path_, {})), lock_(std::move(other.lock_)) {}

OwnFolder::~OwnFolder() {
  std::error_code ignored;
  if (!path_.empty()) fs::remove_all(path_, ignored);
}

}  // namespace quorvin
