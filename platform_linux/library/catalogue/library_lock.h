// The lock file of a library, by which processes agree who may do what.
#pragma once

#include <chrono>
#include <string>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// Each lock is independent of every other one, also of those of the same process, and is gone
/// when its holder dies. Letting go of one closes the lock file, which tells those who watch the
/// library that something may have been committed. Of a library that can only be read, every lock
/// but a shared presence is refused with that reason.
class LibraryLock {
 public:
  enum class Area {
    writer = 0,        ///< exclusive: may write to or checkpoint the catalogue
    staging = 1,       ///< shared: has files that no row names yet; exclusive: may sweep such files
    presence = 2,      ///< shared: has the library open; exclusive: alone with it
    snapshot = 3,      ///< exclusive: makes a snapshot of the catalogue
    trust = 4,         ///< shared: has the library open and knows that its catalogue is sound
    verification = 5,  ///< exclusive: looks whether it is
    previews = 6,      ///< exclusive: makes previews in the background
  };
  enum class Mode { shared, exclusive };

  /// An error that names the lock file: another holds it (`isHeld`), or the system's reason. Who
  /// can only read has the presence also where the lock file cannot be opened, unannounced. Takes
  /// `spare`, if one is given and is still the lock file, in place of a new descriptor.
  static Result<LibraryLock> tryAcquire(const LibraryFolder& folder, Area area, Mode mode,
                                        FileDescriptor* spare = nullptr);
  /// Waits a few seconds for another who holds it.
  static Result<LibraryLock> acquire(const LibraryFolder& folder, Area area, Mode mode,
                                     FileDescriptor* spare = nullptr);
  /// For a lock that is to be taken also when the process has no descriptor left. May be none.
  static FileDescriptor spare(const LibraryFolder& folder);

  /// Whether anybody holds it in whichever mode. Takes nothing. False also when that cannot be
  /// told.
  static bool isHeldByAnyone(const LibraryFolder& folder, Area area);

  static bool isHeld(const Failure& failure) {
    return failure.is(LibraryErrorCode::operationInterrupted);
  }

  /// Changes the mode; false, and as before, when another holder is in the way.
  bool tryChange(Mode mode);

  /// False when the lock file was removed or replaced between the two: who holds the one does not
  /// keep out who takes the other.
  bool isOfSameFile(const LibraryLock& other) const;

 private:
  LibraryLock(FileDescriptor file, Area area) : file_(std::move(file)), area_(area) {}
  FileDescriptor file_;
  Area area_;
};

}  // namespace quorvin
