#include "platform_linux/library/upkeep/trash.h"

#include <limits>
#include <memory>
#include <utility>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/opening/opening.h"

namespace quorvin {

Result<std::vector<TrashedAsset>> listTrash(const std::string& path) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  Catalogue::Reader database = (*catalogue)->reader();
  if (!database) return database.error();
  auto assets = trashedAssets(*database);
  if (!assets) return unreadable(*database);
  return *std::move(assets);
}

Done restoreFromTrash(const std::string& path, std::span<const std::string> identifiers) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  return (*catalogue)->change([identifiers](Database& database) {
    return restoreAssets(database, identifiers);
  });
}

Result<EmptiedTrash> emptyTrash(const std::string& path) {
  auto catalogue = openCatalogue(path, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  // Nothing goes on the word of a catalogue that may be damaged.
  (*catalogue)->finishBeside();
  if (!(*catalogue)->isTrusted()) {
    // One that was found damaged says so itself.
    const Done refused = (*catalogue)->change([](Database&) -> Done {
      return Failure(LibraryErrorCode::operationInterrupted,
                     "the catalogue could not be looked through for damage, and nothing is removed "
                     "on the word of a damaged one; “quorvin check” tells more.");
    });
    return refused.error();
  }
  return removeTrashed(**catalogue, std::numeric_limits<std::int64_t>::max());
}

}  // namespace quorvin
