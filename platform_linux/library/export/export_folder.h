// The folder that an export fills, and what stands in it.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/files/folder.h"
#include "platform_linux/library/values/export_list.h"

namespace quorvin {

/// The system's error number says that nothing more can be written.
bool meansFull(int error);

/// One thread. Folders in it have paths beneath it, with "/" between names.
class ExportFolder {
 public:
  /// Makes it, and the folders above it, where they are missing. An error when another export fills
  /// it at this moment.
  static Result<ExportFolder> open(const std::string& path);

  const std::string& path() const { return path_; }
  const Folder& held() const { return folder_; }

  /// Makes the folder where it is missing and looks what stands in it. 0, or the system's error
  /// number.
  int enter(const std::string& folder);
  /// The names in an entered folder that share this stem (`sharedStem`).
  const std::vector<std::string>& namesakes(const std::string& folder, const std::string& stem);
  /// Whether an asset of this run has the stem; taken from then on.
  bool take(const std::string& folder, const std::vector<std::string>& stems);

  /// Writes a file whole, or not at all, with this time of change: nanoseconds since 1970. It is
  /// durable, its name is not yet. What stands there gives way. 0, or the system's error number.
  int write(const std::string& path, std::optional<std::int64_t> modified,
            const std::function<int(int file)>& fill);
  /// Removes what was written there, unless another file or another content took its place since.
  void removeWritten(const std::string& path);
  /// Whether a regular file of this size and time of change stands there.
  bool hasFile(const std::string& path, std::int64_t size, std::optional<std::int64_t> modified);
  /// Of a file of this size; empty when there is none that can be read. It is read from the disk,
  /// as far as the system can be told to.
  std::string hashOf(const std::string& path, std::int64_t size);

  /// Makes the names of all files durable that were written.
  int sync();

  /// What earlier exports listed, also one that was cut short.
  ExportList list() const;
  /// One of this run was listed.
  int note(const std::string& lines);
  /// Puts the list in the place of all earlier ones.
  int replaceList(const std::string& text);

 private:
  using Names = std::map<std::string, std::vector<std::string>>;
  struct Entered {
    Names names;                  ///< by shared stem
    std::set<std::string> taken;  ///< shared stems
  };

  ExportFolder(std::string path, Folder folder)
      : path_(std::move(path)), folder_(std::move(folder)) {}
  std::string textOf(const char* name) const;
  /// Whether what is to be written over is somebody else's.
  bool isForeign(const char* name) const;

  std::string path_;
  Folder folder_;
  FileDescriptor notes_;  ///< locked as long as it is open
  std::map<std::string, Entered> entered_;
  std::set<std::string> unsynced_;
  std::map<std::string, struct stat> written_;  ///< by path, as it was when it was written
};

}  // namespace quorvin
