// Files and the temporary directory.
#pragma once

#include <optional>
#include <string>

#include "core/platform/foundation.h"
#include "core/platform/value.h"

namespace quorvin {

/// Only the dates that are present are set.
struct NSFileAttributes {
  std::optional<NSDate> NSFileCreationDate;
  std::optional<NSDate> NSFileModificationDate;
  friend bool operator==(const NSFileAttributes&, const NSFileAttributes&) = default;
};

/// Plain paths; every operation that can fail returns its error. Any thread.
class NSFileManager {
 public:
  virtual ~NSFileManager() = default;
  /// The process's temporary directory: absolute, private to the user, ends in "/".
  virtual std::string NSTemporaryDirectory() = 0;
  /// Makes the folders on the way too. A folder that exists is no error.
  virtual std::optional<NSError> createDirectory(const std::string& path) = 0;
  virtual bool fileExists(const std::string& path) = 0;
  virtual std::optional<NSError> removeItem(const std::string& path) = 0;
  /// Writes a side file and moves it into place, so that no reader sees half a file. Replaces an
  /// existing file.
  virtual std::optional<NSError> writeAtomically(const ByteBuffer& data,
                                                 const std::string& path) = 0;
  virtual std::optional<NSError> setAttributes(const NSFileAttributes& attributes,
                                               const std::string& path) = 0;
};

}  // namespace quorvin
