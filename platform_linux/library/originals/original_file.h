// The files of originals, found by the paths that rows and lists give.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/lock.h"
#include "platform_linux/files/folder.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// The original at a path below `originals/`. A path of another form than the library's own has no
/// file, wherever it may lead.
HeldFile originalFile(const LibraryFolder& folder, const std::string& path);

/// Looks whether originals are there, where there are many to look for. Any thread, several at
/// once.
class OriginalsThere {
 public:
  explicit OriginalsThere(const LibraryFolder& folder);
  /// Whether the original at this path below `originals/` is there, with this size.
  bool has(std::string_view path, std::int64_t size) QUORVIN_EXCLUDES(lock_);

 private:
  bool isKnownFolder(std::string_view folder) QUORVIN_EXCLUDES(lock_);
  void noteFolder(std::string_view folder) QUORVIN_EXCLUDES(lock_);

  const Folder originals_;
  NSLock lock_;
  /// In which others were found: they are no links.
  std::set<std::string, std::less<>> folders_ QUORVIN_GUARDED_BY(lock_);
};

/// Removes the original. True when there is none of the library's own at the path now, nor was one.
bool removeOriginal(const LibraryFolder& folder, const std::string& path);

/// Everything below one of the library's folders that is no folder, relative to it. Links are
/// listed and not followed.
std::vector<std::string> filesBelow(const LibraryFolder& folder, const std::string& name);

}  // namespace quorvin
