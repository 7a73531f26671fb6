// Hears from the system what happens in folders.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "posix/file_descriptor.h"

namespace quorvin {

struct FolderEvent {
  enum class Kind {
    came,        ///< a file or a link, or it changed
    writing,     ///< a file is being written
    written,     ///< somebody who wrote a file is done
    gone,        ///< a file
    folderCame,  ///< what is in it is not told
    folderGone,  ///< with all in it
    watchGone,   ///< a folder that is watched was moved or removed
    lost,        ///< there was more than the system could keep
  };
  Kind kind = Kind::lost;
  std::string path;
};

/// One thread. Where the system has none to give, nothing is heard, and `add` says so.
class FolderWatch {
 public:
  FolderWatch();

  /// Readable when there is something to read; negative when there will be nothing.
  int descriptor() const { return inotify_.get(); }

  /// Hears from now on what happens in the open folder, but not in those in it, and tells it with
  /// this path. False when the system watches no more folders.
  bool add(const std::string& path, int folder);
  /// The folder and those in it.
  void forget(const std::string& path);
  void forgetAll();

  /// What happened since the last time.
  std::vector<FolderEvent> read();

 private:
  FileDescriptor inotify_;
  std::unordered_map<int, std::string> paths_;  ///< by what the system calls a watch
};

}  // namespace quorvin
