// The directory that exports are written to.
#pragma once

#include <set>
#include <string>

#include "core/platform/lock.h"
#include "platform_linux/files/folder.h"
#include "platform_linux/files/paths_in_use.h"

namespace quorvin {

/// Where a path leads.
struct FilePlace {
  Folder folder;
  std::string path;  ///< beneath the folder
  int error = 0;     ///< why there is no such folder

  bool isTaken() const;  ///< also by a link that leads nowhere
};

/// Any thread.
class TemporaryDirectory {
 public:
  /// `path` is absolute and stands in the embedder's care; empty: a directory of the user's own in
  /// `parent`, which nobody else may look into.
  TemporaryDirectory(const std::string& path, const std::string& parent);

  /// Ends in one "/". Made, or made again, when it is missing. It is returned also when that
  /// failed; then `make` says why.
  std::string path();

  /// Makes the directory when it is missing. 0, or the system's error number: EPERM when something
  /// of somebody else's stands there.
  int make();

  /// Whether the path lies in the directory, or is its path.
  bool holds(const std::string& path);

  /// A path in the directory leads nowhere else, whatever links were planted there. On the way to
  /// the directory, and to the folder of any other path, links are followed. A path that ends in
  /// "/" leads to nothing. In a folder of the directory that is asked for the first time, side
  /// files go that nobody writes any more.
  FilePlace placeOf(const std::string& path);

  /// Of any paths, in the directory or elsewhere.
  PathsInUse& inUse() { return inUse_; }

 private:
  int makeUnlocked() QUORVIN_REQUIRES(lock_);
  bool holdsUnlocked(const std::string& path) QUORVIN_REQUIRES(lock_);
  Folder openUnlocked() QUORVIN_REQUIRES(lock_);
  int privacyError() QUORVIN_REQUIRES(lock_);
  void sweepUnlocked(const FilePlace& place) QUORVIN_REQUIRES(lock_);

  const bool isPrivate_;
  const std::string parent_;
  PathsInUse inUse_;

  NSLock lock_;
  std::string path_ QUORVIN_GUARDED_BY(lock_);  ///< without a "/" at its end, but for the root
  std::set<std::string> swept_ QUORVIN_GUARDED_BY(lock_);  ///< folders beneath it
};

/// $TMPDIR where that is an absolute path of valid UTF-8, else /tmp.
std::string temporaryParent();

/// Makes the folder and those above it that are missing, all with this mode less the umask. 0, or
/// the system's error number: EEXIST when something else stands there.
int makeFolders(const std::string& path, unsigned mode);

/// The same beneath a folder.
int makeFolders(const Folder& folder, const std::string& path, unsigned mode);

}  // namespace quorvin
