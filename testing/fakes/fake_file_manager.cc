#include "testing/fakes/fake_file_manager.h"

#include <filesystem>
#include <utility>

namespace quorvin {
namespace {

NSError noSuchFile(const std::string& path) {
  return {"FakeFileErrorDomain", 4, "There is no file or folder at " + path + "."};
}

std::string parentOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

}  // namespace

void FakeFileManager::addFile(const std::string& path, ByteBuffer data) {
  const std::lock_guard guard(mutex_);
  files_[path].data = std::move(data);
}

std::optional<FakeFileManager::File> FakeFileManager::file(const std::string& path) const {
  const std::lock_guard guard(mutex_);
  const auto found = files_.find(path);
  return found == files_.end() ? std::nullopt : std::optional(found->second);
}

std::optional<NSError> FakeFileManager::createDirectory(const std::string& path) {
  log_.add("createDirectory " + path);
  if (createDirectoryFails) return createDirectoryFails;
  const std::lock_guard guard(mutex_);
  for (std::string folder = path; folder.size() > 1; folder = parentOf(folder)) {
    if (!folder.ends_with('/')) directories_.insert(folder);
  }
  return std::nullopt;
}

bool FakeFileManager::fileExists(const std::string& path) {
  log_.add("fileExists " + path);
  const std::lock_guard guard(mutex_);
  return files_.contains(path) || directories_.contains(path);
}

std::optional<NSError> FakeFileManager::removeItem(const std::string& path) {
  log_.add("removeItem " + path);
  if (removeItemFails) return removeItemFails;
  const std::lock_guard guard(mutex_);
  if (files_.erase(path) + directories_.erase(path) == 0) return noSuchFile(path);
  return std::nullopt;
}

std::optional<NSError> FakeFileManager::writeAtomically(const ByteBuffer& data,
                                                        const std::string& path) {
  log_.add("writeAtomically " + path);
  if (writeFails) return writeFails;
  const std::lock_guard guard(mutex_);
  if (!directories_.contains(parentOf(path))) return noSuchFile(parentOf(path));
  files_[path] = {data, {}};
  return std::nullopt;
}

std::optional<NSError> FakeFileManager::setAttributes(const NSFileAttributes& attributes,
                                                      const std::string& path) {
  log_.add("setAttributes " + path);
  if (setAttributesFails) return setAttributesFails;
  const std::lock_guard guard(mutex_);
  const auto found = files_.find(path);
  if (found == files_.end()) return noSuchFile(path);
  found->second.attributes = attributes;
  return std::nullopt;
}

}  // namespace quorvin
