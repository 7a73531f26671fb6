// Files that appear whole or not at all.
#pragma once

#include <string>

#include "platform_linux/files/temporary_directory.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A new file beside the one that it is to become: hidden, under a name that nobody can foresee,
/// and removed again unless it was moved into place. One thread. Error numbers are the system's; 0
/// is none.
class SideFile {
 public:
  /// Makes it, empty, in the target's folder, with the mode 0644 less the umask.
  explicit SideFile(FilePlace target);
  ~SideFile();
  SideFile(const SideFile&) = delete;
  SideFile& operator=(const SideFile&) = delete;

  /// Why it could not be made.
  int error() const { return error_; }
  /// Open for reading and writing.
  const FileDescriptor& file() const { return file_; }

  /// Waits until the content is on the disk.
  int sync();
  /// Readers of the target see the new content from now on, all of it.
  int moveIntoPlace(Folder::Existing existing);

 private:
  const FilePlace target_;
  std::string path_;  ///< empty once it is gone
  FileDescriptor file_;
  int error_ = 0;
};

/// Removes the files that processes which were killed left in the folder itself. Those that are
/// still being written stay, whoever writes them.
void removeAbandonedSideFiles(const Folder& folder);

}  // namespace quorvin
