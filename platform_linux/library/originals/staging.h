// Files on their way into a library.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A folder under `incoming/` for files that are being copied. It also lists the originals that
/// have, or are about to have, no row in the catalogue; whoever sweeps later removes those of them
/// that no row names, and nothing else. One thread.
class Staging {
 public:
  static Result<std::unique_ptr<Staging>> begin(const LibraryFolder& folder);
  /// Removes the folder with all that is still in it, or, where the list was not forgotten, leaves
  /// it to the next opening.
  ~Staging();
  Staging(const Staging&) = delete;
  Staging& operator=(const Staging&) = delete;

  const std::string& path() const { return path_; }  ///< beneath the library
  bool isThere() const;

  /// Lists these paths, relative to `originals/`, durably: before the files are moved there, or
  /// before a change that gives up their rows is committed.
  Done announce(const std::vector<std::string>& paths);
  /// The same in two steps.
  Done list(const std::vector<std::string>& paths);
  Done makeListDurable();
  /// The list, and all else in the library, is durable as it is now.
  void noteDurable() { isFolderDurable_ = true; }
  /// Empties the list: what it named has its row by now, or is gone.
  void forget();

 private:
  Staging(LibraryLock lock, LibraryFolder folder, std::string path, FileDescriptor list)
      : lock_(std::move(lock)),
        folder_(std::move(folder)),
        path_(std::move(path)),
        list_(std::move(list)) {}
  LibraryLock lock_;
  const LibraryFolder folder_;
  const std::string path_;
  FileDescriptor list_;
  std::int64_t listed_ = 0;  ///< bytes of the list that are in use
  bool isListing_ = false;
  bool isFolderDurable_ = false;
};

/// The paths that all stagings there are, under way or left by a crash, have listed.
std::set<std::string> announcedOriginals(const LibraryFolder& folder);

/// What lies in `incoming/`, by its path beneath the library.
std::vector<std::string> leftovers(const LibraryFolder& folder);

/// Removes what crashed processes left in `incoming/`, and those originals that they listed and no
/// row names. Leaves it for the next opening when anyone is staging or writing.
void sweepStaging(const LibraryFolder& folder);

}  // namespace quorvin
