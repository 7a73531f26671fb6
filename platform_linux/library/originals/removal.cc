// The rows go first and the files afterwards, for a row without its file would be a loss and a file
// without its row is only waste. So that such waste is found after a crash, the names of the files
// are listed in a staging folder before the rows go; whoever opens the library next removes those
// of them that no row names.
#include "platform_linux/library/originals/removal.h"

#include <algorithm>
#include <memory>
#include <set>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/previews/preview_store.h"

namespace quorvin {
namespace {

// Nobody else is to wait for long, and there may be very many.
constexpr std::size_t kAssetsAtOnce = 1000;
// On a full disk, where each asset takes some of the reserve before it gives back what it had.
constexpr std::size_t kFewer = 10;

// The list takes space, too.
Result<std::unique_ptr<Staging>> beginOnFullDisk(const LibraryFolder& folder) {
  auto staging = Staging::begin(folder);
  if (staging || !staging.error().is(LibraryErrorCode::notEnoughSpace)) return staging;
  const auto lock =
      LibraryLock::acquire(folder, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  if (!lock || !folder.reserve().giveUp()) return staging;
  staging = Staging::begin(folder);
  folder.reserve().keep();
  return staging;
}

Result<DoomedAssets> dropRows(Catalogue& catalogue, Staging& staging, std::int64_t until,
                              std::size_t atMost) {
  DoomedAssets doomed;
  const auto drop = [&](Database& database) -> Done {
    const auto failure = [&database] { return database.lastError("the trash cannot be emptied"); };
    auto found = doomedAssets(database, until, atMost);
    if (!found) return failure();
    doomed = *std::move(found);
    if (doomed.rows.empty()) return Null{};
    if (auto announced = staging.announce(doomed.originals); !announced) return announced;
    return dropAssets(database, doomed) ? Done(Null{}) : failure();
  };
  const auto done = catalogue.change(drop, Catalogue::Room::reserve);
  if (!done) return done.error();
  return doomed;
}

// By which their previews are called.
std::vector<std::string> uuidsOf(const std::vector<std::string>& originals) {
  std::set<std::string> uuids;
  for (const std::string& path : originals) {
    if (resourcePathIsOurs(path)) uuids.emplace(uuidOfOriginal(path));
  }
  return {uuids.begin(), uuids.end()};
}

// False when an original is still there, or may be there again after a power cut. Previews that are
// do no harm.
bool removeFiles(const LibraryFolder& folder, const DoomedAssets& doomed) {
  bool gone = true;
  std::set<std::string> folders;
  for (const std::string& path : doomed.originals) {
    gone = removeOriginal(folder, path) && gone;
    folders.insert(std::string(LibraryFolder::kOriginals) + "/" +
                   path.substr(0, path.find_last_of('/')));
  }
  for (const std::string& each : folders) {
    if (folder.held->openFolder(each)) gone = syncFolder(folder, each) && gone;
  }
  PreviewStore(folder).remove(uuidsOf(doomed.originals));
  return gone;
}

}  // namespace

Result<EmptiedTrash> removeTrashed(Catalogue& catalogue, std::int64_t until,
                                   const std::function<bool()>& goesOn) {
  auto staging = beginOnFullDisk(catalogue.folder());
  if (!staging) return staging.error();
  EmptiedTrash emptied;
  bool gone = true;
  std::size_t atOnce = kAssetsAtOnce;
  for (;;) {
    const auto doomed = dropRows(catalogue, **staging, until, atOnce);
    if (!doomed && doomed.error().is(LibraryErrorCode::notEnoughSpace) && atOnce > 1) {
      atOnce = std::max<std::size_t>(1, atOnce / kFewer);
      continue;
    }
    if (!doomed) return doomed.error();
    gone = removeFiles(catalogue.folder(), *doomed) && gone;
    // Else the next opening removes the rest.
    if (gone) (*staging)->forget();
    emptied.assets += doomed->rows.size();
    emptied.bytes += doomed->bytes;
    catalogue.keepReserve();
    if (doomed->rows.size() < atOnce || (goesOn && !goesOn())) return emptied;
    atOnce = std::min(kAssetsAtOnce, atOnce * 2);
  }
}

}  // namespace quorvin
