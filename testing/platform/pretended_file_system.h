// File systems that no test can mount.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace quorvin {

/// As long as it lives, `fstatfs` tells this process that what lies below the folder (absolute, and
/// without links) is on a file system of this type. One at a time.
class PretendedFileSystem {
 public:
  PretendedFileSystem(const std::string& folder, std::uint32_t type);
  ~PretendedFileSystem();
  PretendedFileSystem(const PretendedFileSystem&) = delete;
  PretendedFileSystem& operator=(const PretendedFileSystem&) = delete;

  /// What happens there each time before a file of it is copied by `copy_file_range`.
  std::function<void()> onCopy;
};

}  // namespace quorvin
