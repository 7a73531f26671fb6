// The lock file of a library, by which processes agree who may do what.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// Each lock is independent of every other one, also of those of the same process, and is gone
/// when its holder dies. Letting go of one closes the lock file, which tells those who watch the
/// library that something may have been committed.
class LibraryLock {
 public:
  enum class Area {
    writer = 0,    ///< exclusive: may write to or checkpoint the catalogue
    staging = 1,   ///< shared: has files that no row names yet; exclusive: may sweep such files
    presence = 2,  ///< shared: has the library open; exclusive: alone with it
    snapshot = 3,  ///< exclusive: makes a snapshot of the catalogue
  };
  enum class Mode { shared, exclusive };

  /// None when another holds it. The folder's lock file exists.
  static std::optional<LibraryLock> tryAcquire(const LibraryFolder& folder, Area area, Mode mode);
  /// Waits a few seconds; then an error that names the lock file.
  static Result<LibraryLock> acquire(const LibraryFolder& folder, Area area, Mode mode);

  /// Changes the mode; false, and as before, when another holder is in the way.
  bool tryChange(Mode mode);

 private:
  LibraryLock(FileDescriptor file, Area area) : file_(std::move(file)), area_(area) {}
  FileDescriptor file_;
  Area area_;
};

}  // namespace quorvin
