// Files and the temporary directory, on this system's file systems.
#pragma once

#include <optional>
#include <string>

#include "core/platform/file_manager.h"
#include "platform_linux/files/temporary_directory.h"

namespace quorvin {

/// Any thread, several at once. Errors are of `kFileErrorDomain`.
class LinuxFileManager final : public NSFileManager {
 public:
  /// `temporaryPath` is absolute; empty: a directory of the user's own in `temporaryParent`.
  explicit LinuxFileManager(const std::string& temporaryPath,
                            const std::string& temporaryParent = quorvin::temporaryParent())
      : temporary_(temporaryPath, temporaryParent) {}

  /// As long as the manager.
  TemporaryDirectory& temporary() { return temporary_; }

  std::string NSTemporaryDirectory() override { return temporary_.path(); }
  std::optional<NSError> createDirectory(const std::string& path) override;
  /// True also for a link, wherever it leads. Who finds nothing may replace what comes there next.
  bool fileExists(const std::string& path) override;
  /// A folder goes with all that is in it, a link without what it leads to. What is being written
  /// stays, to be replaced.
  std::optional<NSError> removeItem(const std::string& path) override;
  /// The content is on the disk before it appears at the path.
  std::optional<NSError> writeAtomically(const ByteBuffer& data, const std::string& path) override;
  /// The file systems here have no creation date that can be set: it becomes the extended attribute
  /// "user.quorvin.creationDate", in seconds since 1970, where the file system has these.
  std::optional<NSError> setAttributes(const NSFileAttributes& attributes,
                                       const std::string& path) override;

 private:
  TemporaryDirectory temporary_;
};

}  // namespace quorvin
