// The directory that exports are written to.
#pragma once

#include <string>

#include "core/platform/lock.h"

namespace quorvin {

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

 private:
  int makeUnlocked() QUORVIN_REQUIRES(lock_);

  const bool isPrivate_;
  const std::string parent_;

  NSLock lock_;
  std::string path_ QUORVIN_GUARDED_BY(lock_);  ///< without a "/" at its end, but for the root
};

/// $TMPDIR where that is an absolute path of valid UTF-8, else /tmp.
std::string temporaryParent();

/// Makes the folder and those above it that are missing, all with this mode less the umask. 0, or
/// the system's error number: EEXIST when something else stands there.
int makeFolders(const std::string& path, unsigned mode);

}  // namespace quorvin
