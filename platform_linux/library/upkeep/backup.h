// A second library that holds what this one does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"

namespace quorvin {

struct BackupOptions {
  /// Where both lie on one file system, an original that cannot share its storage may be one file
  /// with two names.
  bool mayLink = true;
  /// Called on the thread of the backup: once with the number of originals, and after each.
  std::function<void(std::size_t total)> originalsFound;
  std::function<void()> originalDone;
};

struct BackupReport {
  std::int64_t assets = 0;
  std::int64_t originals = 0;
  std::int64_t bytes = 0;
  std::int64_t newOriginals = 0;      ///< the others were there already
  std::vector<std::string> problems;  ///< originals that are not in the backup, a sentence each
};

/// Makes the folder at `target` a library of its own: this one, as of one moment, while others read
/// and change it. An earlier backup of it is brought up to date. A folder inside this library, one
/// that holds anything else, and a backup that was changed since are refused, and left as they are.
Result<BackupReport> backUpLibrary(const std::string& path, const std::string& target,
                                   const BackupOptions& options);

}  // namespace quorvin
