#include "platform_linux/library/originals/original_file.h"

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
