#include "platform_linux/library/originals/derivatives.h"

#include <filesystem>
#include <system_error>

namespace quorvin {

void removeDerivatives(const LibraryFolder& folder, const std::string& uuid) {
  namespace fs = std::filesystem;
  if (uuid.size() < 2) return;
  std::error_code error;
  for (fs::directory_iterator entry(folder.derivatives() + "/" + uuid.substr(0, 2), error), end;
       !error && entry != end; entry.increment(error)) {
    std::error_code ignored;
    if (entry->path().filename().string().starts_with(uuid)) fs::remove(entry->path(), ignored);
  }
}

}  // namespace quorvin
