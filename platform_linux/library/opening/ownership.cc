#include "platform_linux/library/opening/ownership.h"

#include <sys/stat.h>

namespace quorvin {

Result<CatalogueState> ownState(const LibraryFolder& folder, const ReadAccess& access) {
  struct stat status = {};
  if (folder.held->status(LibraryFolder::kCatalogue, status) == 0 && status.st_size == 0 &&
      wasInUse(folder)) {
    // SQLite, asked, would remove the log beside it.
    return needsRescue(folder.catalogue(), "is empty");
  }
  auto database = access.connect(folder);
  if (!database) return database.error();
  const auto known = catalogueState(**database);
  if (!known) return known.error();
  if (*known == CatalogueState::newer) return madeByLaterVersion(folder);
  if (*known == CatalogueState::empty && wasInUse(folder)) {
    return needsRescue(folder.catalogue(), "is empty");
  }
  if (*known == CatalogueState::foreign) {
    if (wasInUse(folder)) return needsRescue(folder.catalogue());
    return Failure(LibraryErrorCode::invalidResource,
                   "the catalogue “" + folder.catalogue() + "” is a database of something else.");
  }
  return *known;
}

}  // namespace quorvin
