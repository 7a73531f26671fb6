// The server's folder for what it needs for a while.
#pragma once

#include <string>
#include <utility>

#include "platform_linux/errors/failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// In the system's temporary directory, for the user alone; removed with all that is in it. A lock
/// says that its server lives.
class OwnFolder {
 public:
  /// Also removes those that servers left which were killed.
  static Result<OwnFolder> make();
  OwnFolder(OwnFolder&& other) noexcept;
  OwnFolder& operator=(OwnFolder&&) = delete;
  ~OwnFolder();

  /// Of what the engine exports.
  std::string exports() const { return path_ + "/exports"; }
  std::string pictures() const { return path_ + "/pictures"; }
  std::string videos() const { return path_ + "/videos"; }
  std::string uploads() const { return path_ + "/uploads"; }

 private:
  OwnFolder(std::string path, FileDescriptor lock)
      : path_(std::move(path)), lock_(std::move(lock)) {}

  std::string path_;
  FileDescriptor lock_;
};

}  // namespace quorvin
