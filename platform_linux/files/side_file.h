// Files that appear whole or not at all.
#pragma once

#include <string>

#include "platform_linux/files/temporary_directory.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A new file beside the one that it is to become. It has no name, so that nothing is left of it
/// however the process ends; where the file system has no such files it is hidden, under a name
/// that nobody can foresee, and `removeAbandonedSideFiles` removes what
/// a killed process left. One thread.
/// Error numbers are the system's; 0 is none.
class SideFile {
 public:
  enum class Name {
    none,  ///< falls back to the other where the file system cannot
    hidden
  };
  /// Makes it, empty, in the target's folder, with the mode 0644 less the umask.
  explicit SideFile(FilePlace target, Name name = Name::none);
  ~SideFile();
  SideFile(const SideFile&) = delete;
  SideFile& operator=(const SideFile&) = delete;

  /// Why it could not be made.
  int error() const { return error_; }
  /// Open for reading and writing.
  const FileDescriptor& file() const { return file_; }

  /// Waits until the content is on the disk.
  int sync();
  /// Readers of the target see the new content from now on, all of it, whatever stood there.
  int moveIntoPlace();

 private:
  void makeUnnamed();
  void makeHidden();

  const FilePlace target_;
  std::string beside_;  ///< what goes before a name in the target's folder
  std::string path_;    ///< empty while it has no name of its own
  FileDescriptor file_;
  int error_ = 0;
};

/// Removes the hidden files in the folder that nobody writes any more.
void removeAbandonedSideFiles(const Folder& folder);

}  // namespace quorvin
