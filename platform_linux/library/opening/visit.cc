// The catalogue is read where it lies, if that can be done without writing. On a volume that is
// read-only for everybody, a catalogue whose log is empty is a file that nobody changes. Elsewhere
// programs may be writing at this moment, or the log holds what is not in the file yet: both are
// read as on a library that can be written to, only that the log's index, by which writers and
// readers agree, is opened for reading; where no writer keeps it, SQLite makes one in memory. What
// is left is read as a copy: what lies on a network, which has no such index; a catalogue whose log
// or index is missing, for SQLite would make it; and one of an earlier version.
#include "platform_linux/library/opening/visit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/opening/ownership.h"
#include "platform_linux/library/opening/private_copy.h"

namespace quorvin {
namespace {

constexpr const char* kLog = "library.sqlite-wal";
constexpr const char* kIndexOfLog = "library.sqlite-shm";

bool isReadable(const LibraryFolder& folder, const char* path) {
  return ::faccessat(folder.held->descriptor(), path, R_OK, AT_EACCESS | AT_SYMLINK_NOFOLLOW) == 0;
}

bool isLogEmpty(const LibraryFolder& folder) {
  struct stat status = {};
  const int error = folder.held->status(kLog, status);
  return error == ENOENT || (error == 0 && status.st_size == 0);
}

Result<ReadAccess> privately(const LibraryFolder& folder) {
  auto copy = copyPrivately(folder);
  if (!copy) return copy.error();
  return ReadAccess{Database::Use::snapshot, *std::move(copy)};
}

Result<ReadAccess> accessTo(const LibraryFolder& folder, Obstacle obstacle) {
  if (obstacle == Obstacle::network) return privately(folder);
  if (isLogEmpty(folder) && isUnchanging(folder)) return ReadAccess{Database::Use::snapshot, {}};
  if (isReadable(folder, kLog) && isReadable(folder, kIndexOfLog)) {
    return ReadAccess{Database::Use::readOnly, {}};
  }
  return privately(folder);
}

}  // namespace

Result<std::shared_ptr<Catalogue>> visitCatalogue(LibraryFolder folder, Obstacle obstacle) {
  folder.refusal = onlyRead(folder, obstacle);
  // Nobody makes or replaces the catalogue, or brings it up to date, meanwhile.
  auto presence =
      LibraryLock::acquire(folder, LibraryLock::Area::presence, LibraryLock::Mode::shared);
  if (!presence) return presence.error();
  auto access = accessTo(folder, obstacle);
  if (!access) return access.error();
  auto state = ownState(folder, *access);
  if (state && *state == CatalogueState::older) {
    access = privately(folder);
    if (!access) return access.error();
    state = ownState(folder, *access);
  }
  if (!state) return state.error();
  if (*state != CatalogueState::current) return cannotBeMade(folder, obstacle);
  return std::make_shared<Catalogue>(std::move(folder), *std::move(presence), nullptr,
                                     *std::move(access));
}

}  // namespace quorvin
