// The server's folder for what it needs for a while.
#pragma once

#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

/// In the system's temporary directory, for the user alone; removed with all that is in it.
class OwnFolder {
 public:
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
  explicit OwnFolder(std::string path) : path_(std::move(path)) {}

  std::string path_;
};

}  // namespace quorvin
