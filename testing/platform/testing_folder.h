// A folder of a test's own, and what lies in it.
#pragma once

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "posix/file_descriptor.h"

namespace quorvin {

/// A new folder, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "quorvin-test-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// A volume of some kilobytes in memory. Only those who may mount have one.
class SmallVolume {
 public:
  explicit SmallVolume(const std::string& options) {
    error_ = ::mount("none", folder_.path().c_str(), "tmpfs", 0, options.c_str()) == 0 ? 0 : errno;
  }
  ~SmallVolume() {
    if (error_ == 0) ::umount2(folder_.path().c_str(), MNT_DETACH);
  }
  SmallVolume(const SmallVolume&) = delete;
  SmallVolume& operator=(const SmallVolume&) = delete;

  bool isThere() const { return error_ == 0; }
  void makeReadOnly() {
    ::mount("none", folder_.path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, nullptr);
  }
  const std::string& path() const { return folder_.path(); }
  std::string operator/(const std::string& name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
  int error_ = 0;
};

inline void writeFile(const std::string& path, const std::string& content) {
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
}

/// Writes a file and opens it for reading and writing.
inline FileDescriptor openedFile(const std::string& path, const std::string& content) {
  writeFile(path, content);
  return FileDescriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC));
}

/// A file's content: more than is read or written at once.
inline std::string largeContent(char last) {
  return std::string(1'000'003, 'x') + last;
}

inline std::string readFile(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return std::move(content).str();
}

inline std::optional<std::string> readIfThere(const std::string& path) {
  return std::filesystem::exists(path) ? std::optional(readFile(path)) : std::nullopt;
}

/// Every regular file below the folder, relative to it, sorted.
inline std::vector<std::string> filesBelow(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files.push_back(std::filesystem::relative(entry.path(), folder).string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// Name, mode, modification time and bytes of everything below the folder.
inline std::vector<std::string> stateBelow(const std::string& folder) {
  std::vector<std::string> state;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    struct stat status = {};
    ::lstat(entry.path().c_str(), &status);
    state.push_back(entry.path().string() + " " + std::to_string(status.st_mode) + " " +
                    std::to_string(status.st_mtim.tv_sec) + " " +
                    std::to_string(status.st_mtim.tv_nsec) + " " +
                    (entry.is_regular_file() ? readFile(entry.path()) : ""));
  }
  std::sort(state.begin(), state.end());
  return state;
}

}  // namespace quorvin
