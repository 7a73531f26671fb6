#include "platform_linux/library/originals/derivatives.h"

#include <vector>

namespace quorvin {

void removeDerivatives(const LibraryFolder& folder, const std::string& uuid) {
  if (uuid.size() < 2) return;
  const Folder fanOut =
      folder.held->openFolder(std::string(LibraryFolder::kDerivatives) + "/" + uuid.substr(0, 2));
  std::vector<Folder::Entry> entries;
  if (!fanOut || fanOut.list(entries) != 0) return;
  for (const Folder::Entry& entry : entries) {
    if (entry.name.starts_with(uuid)) fanOut.removeFile(entry.name);
  }
}

}  // namespace quorvin
