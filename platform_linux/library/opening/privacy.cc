// The library's folder is closed first, which keeps all others out at once. What is in it follows,
// the folder of the originals last: once that is closed, so is everything, and nothing more than
// that is looked at when the library is opened again.
#include "platform_linux/library/opening/privacy.h"

#include <sys/stat.h>

#include <string>
#include <vector>

namespace quorvin {
namespace {

constexpr mode_t kFolder = 0700;
constexpr mode_t kFile = 0600;
constexpr mode_t kOriginal = 0400;
constexpr mode_t kAllBits = 07777;
// Originals lie in the second, and nothing of the library's lies deeper.
constexpr int kDeepest = 4;

bool isClosed(const Folder& folder, const std::string& path) {
  struct stat status = {};
  return folder.status(path, status) == 0 && (status.st_mode & kAllBits) == kFolder;
}

void closeTree(const Folder& above, const std::string& name, mode_t file, int depth) {
  const Folder folder = above.openFolder(name);
  std::vector<Folder::Entry> entries;
  if (!folder || depth > kDeepest || folder.list(entries) != 0) return;
  for (const Folder::Entry& entry : entries) {
    if (entry.kind == Folder::Kind::folder) closeTree(folder, entry.name, file, depth + 1);
    if (entry.kind == Folder::Kind::file) folder.setMode(entry.name, file);
  }
  above.setMode(name, kFolder);
}

}  // namespace

void closeToOthers(const LibraryFolder& folder) {
  const Folder& root = *folder.held;
  std::vector<Folder::Entry> entries;
  struct stat status = {};
  if (root.setMode(kFolder) != 0 || ::fstat(root.descriptor(), &status) != 0 ||
      (status.st_mode & kAllBits) != kFolder || root.list(entries) != 0) {
    return;
  }
  for (const Folder::Entry& entry : entries) {
    if (entry.kind == Folder::Kind::file) root.setMode(entry.name, kFile);
  }
  if (isClosed(root, LibraryFolder::kOriginals)) return;
  for (const Folder::Entry& entry : entries) {
    if (entry.kind == Folder::Kind::folder && entry.name != LibraryFolder::kOriginals) {
      closeTree(root, entry.name, kFile, 1);
    }
  }
  closeTree(root, LibraryFolder::kOriginals, kOriginal, 1);
}

}  // namespace quorvin
