#include "testing/fakes/fake_file_manager.h"

#include <cmath>
#include <filesystem>
#include <utility>
#include <vector>

namespace quorvin {
namespace {

constexpr const char* kDomain = "FakeFileErrorDomain";

NSError noSuchFile(const std::string& path) {
  return {kDomain, 4, "There is no file or folder at " + path + "."};
}

NSError itemExists(const std::string& path) {
  return {kDomain, 516, "There is something else at " + path + "."};
}

std::string parentOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

std::string withoutSlash(std::string path) {
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

bool isNumber(const std::optional<NSDate>& date) {
  return !date || std::isfinite(date->timeIntervalSince1970());
}

/// Removes what lies in the folder from a set or map of paths.
template <class Paths>
void eraseBelow(Paths& paths, const std::string& folder) {
  std::erase_if(paths, [start = folder + "/"](const auto& each) {
    if constexpr (requires { each.first; }) {
      return each.first.starts_with(start);
    } else {
      return each.starts_with(start);
    }
  });
}

}  // namespace

void FakeFileManager::addText(const std::string& path, const std::string& text) {
  addFile(path, ByteBuffer(std::vector<std::uint8_t>(text.begin(), text.end())));
}

std::optional<std::string> FakeFileManager::text(const std::string& path) const {
  const auto found = file(path);
  if (!found) return std::nullopt;
  return std::string(found->data.bytes().begin(), found->data.bytes().end());
}

void FakeFileManager::addFile(const std::string& path, ByteBuffer data) {
  const std::lock_guard guard(mutex_);
  for (std::string each = parentOf(path); each.size() > 1; each = parentOf(each)) {
    directories_.insert(each);
  }
  files_[path].data = std::move(data);
}

std::optional<NSError> FakeFileManager::writeNew(const ByteBuffer& data, const std::string& path) {
  const std::lock_guard guard(mutex_);
  if (files_.contains(path) || directories_.contains(path)) return itemExists(path);
  if (!directories_.contains(parentOf(path))) return noSuchFile(parentOf(path));
  files_[path] = {data, {}};
  return std::nullopt;
}

std::optional<NSError> FakeFileManager::replace(const ByteBuffer& data, const std::string& path) {
  const std::lock_guard guard(mutex_);
  if (!directories_.contains(parentOf(path))) return noSuchFile(parentOf(path));
  if (directories_.contains(path)) return itemExists(path);
  files_[path] = {data, {}};
  return std::nullopt;
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
  const std::string whole = withoutSlash(path);
  for (std::string each = whole; each.size() > 1; each = parentOf(each)) {
    if (files_.contains(each)) return itemExists(each);
  }
  for (std::string each = whole; each.size() > 1; each = parentOf(each)) directories_.insert(each);
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
  eraseBelow(files_, path);
  eraseBelow(directories_, path);
  return std::nullopt;
}

std::optional<NSError> FakeFileManager::writeAtomically(const ByteBuffer& data,
                                                        const std::string& path) {
  log_.add("writeAtomically " + path);
  return writeFails ? writeFails : replace(data, path);
}

std::optional<NSError> FakeFileManager::setAttributes(const NSFileAttributes& attributes,
                                                      const std::string& path) {
  log_.add("setAttributes " + path);
  if (setAttributesFails) return setAttributesFails;
  const std::lock_guard guard(mutex_);
  if (!isNumber(attributes.NSFileCreationDate) || !isNumber(attributes.NSFileModificationDate)) {
    return NSError{kDomain, 512, "One of the dates for " + path + " is no number."};
  }
  const auto found = files_.find(path);
  if (found == files_.end()) return noSuchFile(path);
  NSFileAttributes& dates = found->second.attributes;
  if (attributes.NSFileCreationDate) dates.NSFileCreationDate = attributes.NSFileCreationDate;
  if (attributes.NSFileModificationDate) {
    dates.NSFileModificationDate = attributes.NSFileModificationDate;
  }
  return std::nullopt;
}

}  // namespace quorvin
