#include "platform_linux/library/originals/original_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/original_record.h"

namespace quorvin {
namespace {

// Deeper than anything that the library makes; each level holds a descriptor.
constexpr int kDeepestFolder = 32;

void appendFiles(const Folder& folder, const std::string& prefix, int depth,
                 std::vector<std::string>& files) {
  std::vector<Folder::Entry> entries;
  if (!folder || depth > kDeepestFolder || folder.list(entries) != 0) return;
  for (const Folder::Entry& entry : entries) {
    const std::string path = prefix + entry.name;
    if (entry.kind == Folder::Kind::folder) {
      appendFiles(folder.openFolder(entry.name), path + "/", depth + 1, files);
    } else {
      files.push_back(path);
    }
  }
}

}  // namespace

HeldFile originalFile(const LibraryFolder& folder, const std::string& path) {
  if (!resourcePathIsOurs(path)) return {};
  return {folder.held, std::string(LibraryFolder::kOriginals) + "/" + path};
}

OriginalsThere::OriginalsThere(const LibraryFolder& folder)
    : originals_(folder.held->openFolder(LibraryFolder::kOriginals)) {}

bool OriginalsThere::has(std::string_view path, std::int64_t size) {
  if (!originals_ || !resourcePathIsOurs(path)) return false;
  struct stat status = {};
  const std::string_view folder = path.substr(0, path.find('/'));
  if (isKnownFolder(folder)) {
    if (::fstatat(originals_.descriptor(), std::string(path).c_str(), &status,
                  AT_SYMLINK_NOFOLLOW) != 0) {
      return false;
    }
  } else {
    if (originals_.status(path, status) != 0) return false;
    noteFolder(folder);
  }
  return S_ISREG(status.st_mode) && status.st_size == size;
}

bool OriginalsThere::isKnownFolder(std::string_view folder) {
  const NSLockHolder held(lock_);
  return folders_.contains(folder);
}

void OriginalsThere::noteFolder(std::string_view folder) {
  const NSLockHolder held(lock_);
  folders_.emplace(folder);
}

bool removeOriginal(const LibraryFolder& folder, const std::string& path) {
  if (!resourcePathIsOurs(path)) return true;
  removeRecord(folder, path);
  switch (folder.held->removeFile(std::string(LibraryFolder::kOriginals) + "/" + path)) {
    case 0:
    case ENOENT:
    // Something else stands there, or on the way there.
    case EISDIR:
    case ELOOP:
    case ENOTDIR:
      return true;
    default:
      return false;
  }
}

std::vector<std::string> filesBelow(const LibraryFolder& folder, const std::string& name) {
  std::vector<std::string> files;
  appendFiles(folder.held->openFolder(name), "", 1, files);
  return files;
}

}  // namespace quorvin
