// A file system in memory.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

#include "core/platform/file_manager.h"
#include "testing/fakes/event_log.h"

namespace quorvin {

/// Any thread once the test has scripted it. Logs every operation with its path.
class FakeFileManager : public NSFileManager {
 public:
  struct File {
    ByteBuffer data;
    NSFileAttributes attributes;
  };

  explicit FakeFileManager(EventLog& log) : log_(log) {}

  // The error that every call of an operation returns while it stands here.
  std::optional<NSError> createDirectoryFails;
  std::optional<NSError> removeItemFails;
  std::optional<NSError> writeFails;
  std::optional<NSError> setAttributesFails;

  /// Makes the folders on the way too.
  void addFile(const std::string& path, ByteBuffer data);
  void addText(const std::string& path, const std::string& text);
  /// As somebody writes who replaces nothing.
  std::optional<NSError> writeNew(const ByteBuffer& data, const std::string& path);
  /// As somebody writes who replaces a file.
  std::optional<NSError> replace(const ByteBuffer& data, const std::string& path);
  std::optional<File> file(const std::string& path) const;
  std::optional<std::string> text(const std::string& path) const;

  std::string NSTemporaryDirectory() override { return "/temporary/"; }
  std::optional<NSError> createDirectory(const std::string& path) override;
  bool fileExists(const std::string& path) override;
  std::optional<NSError> removeItem(const std::string& path) override;
  std::optional<NSError> writeAtomically(const ByteBuffer& data, const std::string& path) override;
  std::optional<NSError> setAttributes(const NSFileAttributes& attributes,
                                       const std::string& path) override;

 private:
  EventLog& log_;
  mutable std::mutex mutex_;
  std::set<std::string> directories_ = {"/", "/temporary"};
  std::map<std::string, File> files_;
};

}  // namespace quorvin
