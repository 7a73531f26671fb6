// The steps, in their order. Look whether the folder is a library, or may become one, and whether
// it can be written to, before anything is made in it; one that cannot is only read (visit.cc).
// Make the folders and the lock file, and keep others out. Announce the presence. Make the tables,
// or bring them up to date. Sweep what copies that were cut short left. Then others may come in as
// well, and what takes long is left to a thread beside: whoever is alone, and finds a log that
// nobody emptied, has the catalogue's pages looked through before anything is swept, and so has who
// comes in while nobody knows the outcome yet; and what has been deleted for long enough goes for
// good.
#include "platform_linux/library/opening/opening.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <utility>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/opening/care.h"
#include "platform_linux/library/opening/obstacle.h"
#include "platform_linux/library/opening/ownership.h"
#include "platform_linux/library/opening/privacy.h"
#include "platform_linux/library/opening/visit.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/snapshots/snapshot.h"
#include "platform_linux/library/snapshots/snapshot_keeper.h"

namespace quorvin {
namespace {

// The write-ahead log is emptied by whoever closes a library last. What it still holds when nobody
// has the library open was left by a stop in the middle.
bool stoppedUncleanly(const LibraryFolder& folder) {
  struct stat status = {};
  std::string log(LibraryFolder::kCatalogue);
  log += "-wal";
  return folder.held->status(log, status) == 0 && status.st_size > 0;
}

// Is there a reason to doubt the catalogue, before anything is removed on its word?
bool isDoubtful(const LibraryFolder& folder, bool alone) {
  return alone ? stoppedUncleanly(folder)
               : !LibraryLock::isHeldByAnyone(folder, LibraryLock::Area::trust);
}

// To bring a catalogue up to date, one has to be alone with it: whoever has it open knows its
// tables as they are. To make a new one, not: others make the same.
Done setUp(const LibraryFolder& folder, bool alone, PHAuthorizationStatus status) {
  auto lock = LibraryLock::acquire(folder, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  if (!lock) return lock.error();
  // SQLite would let others read it. What it makes beside it has the same mode.
  const bool isMade = static_cast<bool>(
      folder.held->openFile(LibraryFolder::kCatalogue, O_RDWR | O_CREAT | O_EXCL, 0600));
  if (isMade) folder.held->setMode(LibraryFolder::kCatalogue, 0600);
  auto database = Database::open(folder.catalogueFile(), Database::Use::write);
  if (!database) return database.error();
  // Somebody else may have set it up meanwhile.
  const auto state = catalogueState(**database);
  if (!state) return state.error();
  if (*state == CatalogueState::current) return Null{};
  if (*state == CatalogueState::newer) return madeByLaterVersion(folder);
  if (*state == CatalogueState::foreign) return needsRescue(folder.catalogue());
  if (*state == CatalogueState::older && !alone) {
    return Failure(LibraryErrorCode::operationInterrupted,
                   "the catalogue “" + folder.catalogue() +
                       "” is of an earlier version, and can be brought up to date only while no "
                       "other program has the library open.");
  }
  if (*state == CatalogueState::empty) {
    // SQLite's journal must not be found after a power cut without it.
    if (auto synced = syncFolder(folder, ""); !synced) return synced;
  }
  if (*state == CatalogueState::older) {
    if (auto kept = makeSnapshot(folder, **database); !kept) return kept.error();
  }
  const auto done = migrate(**database, static_cast<std::int64_t>(status));
  if (!done) return done.error();
  (*database)->emptyLog();
  return Null{};
}

Done prepare(const LibraryFolder& folder, bool alone, PHAuthorizationStatus statusWhenMade) {
  bool current = false;
  if (auto database = Database::open(folder.catalogueFile(), Database::Use::read)) {
    const auto state = catalogueState(**database);
    current = state && *state == CatalogueState::current;
  }
  if (!current) {
    if (auto done = setUp(folder, alone, statusWhenMade); !done) return done.error();
  }
  return Null{};
}

// Frees what is kept back, so that a full disk does not keep anybody out.
bool makeRoom(const std::string& path) {
  const auto folder = libraryFolderAt(path);
  if (!folder || folder->held == nullptr || refusalOfChanges(*folder)) return false;
  const auto lock =
      LibraryLock::acquire(*folder, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  return lock && folder->reserve().giveUp();
}

void keepReserveIfFree(const LibraryFolder& folder) {
  if (folder.reserve().isWhole()) return;
  const auto lock =
      LibraryLock::tryAcquire(folder, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  if (lock) folder.reserve().keep();
}

Result<std::shared_ptr<Catalogue>> openOnce(const std::string& path, MissingLibrary missing,
                                            PHAuthorizationStatus statusWhenMade) {
  auto folder = libraryFolderAt(path);
  if (!folder) return folder.error();
  const auto state = folderState(*folder);
  if (!state) return state.error();
  if (*state == FolderState::lost) return needsRescue(folder->catalogue(), "is missing");
  if (missing == MissingLibrary::refuse && *state != FolderState::catalogue) {
    return Failure(LibraryErrorCode::missingResource,
                   "there is no photo library at “" + folder->root + "”.");
  }
  if (const Obstacle obstacle = obstacleTo(*folder); obstacle != Obstacle::none) {
    if (*state != FolderState::catalogue) return cannotBeMade(*folder, obstacle);
    return visitCatalogue(*std::move(folder), obstacle);
  }
  if (*state == FolderState::catalogue) {
    if (auto ours = ownState(*folder, {}); !ours) return ours.error();
  }
  if (const auto made = makeFolders(*folder); !made) return made.error();
  closeToOthers(*folder);
  auto presence =
      LibraryLock::tryAcquire(*folder, LibraryLock::Area::presence, LibraryLock::Mode::exclusive);
  bool alone = static_cast<bool>(presence);
  if (!alone) {
    presence =
        LibraryLock::acquire(*folder, LibraryLock::Area::presence, LibraryLock::Mode::shared);
    if (!presence) return presence.error();
    // Whoever was in the way may have been just closing.
    alone = presence->tryChange(LibraryLock::Mode::exclusive);
  }
  const bool doubtful = isDoubtful(*folder, alone);
  if (auto ready = prepare(*folder, alone, statusWhenMade); !ready) return ready.error();
  if (!doubtful) sweepStaging(*folder);
  keepReserveIfFree(*folder);
  auto keeper = std::make_unique<SnapshotKeeper>(*folder);
  auto catalogue =
      std::make_shared<Catalogue>(*std::move(folder), *std::move(presence), std::move(keeper));
  // Before others come in, for they ask.
  if (!doubtful) catalogue->trust();
  catalogue->letOthersIn();
  startCare(*catalogue);
  return catalogue;
}

}  // namespace

Result<std::shared_ptr<Catalogue>> openCatalogue(const std::string& path, MissingLibrary missing,
                                                 PHAuthorizationStatus statusWhenMade) {
  auto opened = openOnce(path, missing, statusWhenMade);
  if (!opened && opened.error().is(LibraryErrorCode::notEnoughSpace) && makeRoom(path)) {
    return openOnce(path, missing, statusWhenMade);
  }
  return opened;
}

}  // namespace quorvin
