// Media files that a worker died on or spent all of its time on, so that the next who asks for one
// has an answer at once.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/lock.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/files/folder.h"

namespace quorvin {

/// What a file was given to a worker for: one that is too much as a whole may do as a preview.
enum class MediaWork { probe, preview, picture, containers, video };

/// A file that is given to no worker any more.
struct FailedFile {
  std::string path;  ///< where it lay then
  std::string reason;
};

/// The memory is a folder with a small file for each failure, named by the content that failed. Who
/// shares the folder, at the same time or later, shares the memory. At most a thousand are kept,
/// the latest. Any thread, several at once.
class FailureMemory {
 public:
  /// `folder` is made at the first failure; empty: nothing is remembered. What failed with another
  /// worker program than this one, or with an older state of it, is as good as forgotten.
  FailureMemory(std::string folder, const std::string& workerProgram);

  /// How the same content failed at the same work. Reads the file only where one of its size did.
  std::optional<Failure> recall(int file, MediaWork work) QUORVIN_EXCLUDES(lock_);

  /// Does nothing where the folder or the file cannot be used.
  void remember(int file, MediaWork work, const Failure& failure) QUORVIN_EXCLUDES(lock_);

  /// Those that failed with this program, sorted by path.
  std::vector<FailedFile> all() QUORVIN_EXCLUDES(lock_);

  /// Everything, whatever program it was. False when some of it is still there.
  bool forget() QUORVIN_EXCLUDES(lock_);

 private:
  struct Entry {
    FailedFile file;
    std::int64_t code = 0;
  };

  /// Reads the folder where it changed.
  void refresh() QUORVIN_REQUIRES(lock_);
  std::optional<Entry> read(const std::string& name) const QUORVIN_REQUIRES(lock_);
  void makeRoom() QUORVIN_REQUIRES(lock_);

  const std::string path_;
  const std::string program_;  ///< which program it is, and which state of it

  NSLock lock_;
  Folder folder_ QUORVIN_GUARDED_BY(lock_);
  timespec changed_ QUORVIN_GUARDED_BY(lock_) = {};
  std::map<std::string, Entry, std::less<>> entries_ QUORVIN_GUARDED_BY(lock_);  ///< by name
};

}  // namespace quorvin
