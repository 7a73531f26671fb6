#include "tests/crash/disk_model.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <utility>

#include "core/platform/foundation.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;
using Kind = FileOperation::Kind;

bool isForProcessesAlone(const std::string& path) {
  return path.ends_with("-shm") || path.ends_with(".lock") || path.ends_with(".reserve");
}

std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "" : path.substr(0, slash);
}

bool changesContent(Kind kind) {
  return kind == Kind::write || kind == Kind::truncate;
}

bool changesEntries(Kind kind) {
  return kind == Kind::createFile || kind == Kind::makeFolder || kind == Kind::rename ||
         kind == Kind::removeFile || kind == Kind::removeFolder;
}

void writeInto(std::string& content, std::int64_t offset, std::string_view bytes) {
  const auto end = static_cast<std::size_t>(offset) + bytes.size();
  if (content.size() < end) content.resize(end);
  content.replace(static_cast<std::size_t>(offset), bytes.size(), bytes);
}

}  // namespace

DiskState readDisk(const std::string& folder) {
  DiskState state;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = fs::relative(entry.path(), folder).string();
    if (entry.is_directory()) {
      state.folders.insert(path);
    } else if (!isForProcessesAlone(path)) {
      state.files[path] = std::make_shared<const std::string>(readFile(entry.path().string()));
    }
  }
  return state;
}

std::size_t fingerprintOf(const DiskState& state) {
  std::string all;
  for (const std::string& path : state.folders) all += path + "\n";
  for (const auto& [path, content] : state.files) {
    all += path + "=" + std::to_string(std::hash<std::string>()(*content)) + "\n";
  }
  return std::hash<std::string>()(all);
}

void writeDisk(const DiskState& state, const std::string& folder) {
  fs::create_directory(folder);
  for (const std::string& path : state.folders) fs::create_directory(folder + "/" + path);
  for (const auto& [path, content] : state.files) {
    std::ofstream(folder + "/" + path, std::ios::binary) << *content;
  }
}

/// Names and contents while operations are done again.
struct PowerCut::Replay {
  std::map<std::string, int> names;
  std::set<std::string> folders;
  std::map<int, std::string> contents;
};

PowerCut::PowerCut(const DiskState& before, const std::vector<FileOperation>& operations,
                   std::size_t count, const std::set<std::size_t>& forgottenSyncs)
    : before_(before), operations_(operations), count_(count), standing_(before.files.size()) {
  std::map<std::string, int> names;
  int next = 0;
  for (const auto& [path, content] : before.files) names[path] = next++;
  for (std::size_t i = 0; i < count; ++i) {
    const FileOperation& operation = operations[i];
    int file = -1;
    if (operation.kind == Kind::createFile) {
      file = names[operation.path] = next++;
    } else if (const auto known = names.find(operation.path); known != names.end()) {
      file = known->second;
    }
    if (file < 0 && changesContent(operation.kind) && !isForProcessesAlone(operation.path)) {
      fatalError("a file was written that nobody was seen to make: " + operation.path);
    }
    files_.push_back(file);
    if (operation.kind == Kind::rename && file >= 0) names[operation.target] = file;
    if (operation.kind == Kind::rename || operation.kind == Kind::removeFile) {
      names.erase(operation.path);
    }
    if (changesContent(operation.kind) || changesEntries(operation.kind)) unsettled_.push_back(i);
    if (forgottenSyncs.contains(i)) continue;
    if (operation.kind == Kind::syncAll) unsettled_.clear();
    if (operation.kind != Kind::sync) continue;
    std::erase_if(unsettled_, [&](std::size_t earlier) {
      const FileOperation& other = operations[earlier];
      if (file >= 0) return changesContent(other.kind) && files_[earlier] == file;
      return changesEntries(other.kind) &&
             (folderOf(other.path) == operation.path ||
              (other.kind == Kind::rename && folderOf(other.target) == operation.path));
    });
  }
  // What is missing of them is made anew by whoever needs it.
  std::erase_if(unsettled_, [&](std::size_t i) { return isForProcessesAlone(operations[i].path); });
}

bool PowerCut::isContent(std::size_t operation) const {
  return changesContent(operations_[operation].kind);
}

DiskState PowerCut::without(const std::set<std::size_t>& lost,
                            std::optional<std::size_t> torn) const {
  Replay disk;
  disk.folders = before_.folders;
  std::vector<std::shared_ptr<const std::string>> untouched;
  for (const auto& [path, content] : before_.files) {
    disk.names[path] = static_cast<int>(untouched.size());
    untouched.push_back(content);
  }
  const auto contentOf = [&](int file) -> std::string& {
    const auto [place, isNew] = disk.contents.try_emplace(file);
    if (isNew && static_cast<std::size_t>(file) < standing_) {
      place->second = *untouched[static_cast<std::size_t>(file)];
    }
    return place->second;
  };
  for (std::size_t i = 0; i < count_; ++i) {
    const FileOperation& operation = operations_[i];
    if (lost.contains(i) || isForProcessesAlone(operation.path)) continue;
    switch (operation.kind) {
      case Kind::createFile:
        disk.names[operation.path] = files_[i];
        break;
      case Kind::makeFolder:
        disk.folders.insert(operation.path);
        break;
      case Kind::write: {
        std::string_view bytes = operation.bytes;
        if (torn == i) bytes = bytes.substr(0, bytes.size() / 2);
        if (files_[i] >= 0) writeInto(contentOf(files_[i]), operation.offset, bytes);
        break;
      }
      case Kind::truncate:
        if (files_[i] >= 0) {
          contentOf(files_[i]).resize(static_cast<std::size_t>(operation.offset));
        }
        break;
      case Kind::rename:
        disk.names.erase(operation.path);
        disk.names[operation.target] = files_[i];
        break;
      case Kind::removeFile:
        disk.names.erase(operation.path);
        break;
      case Kind::removeFolder:
        disk.folders.erase(operation.path);
        break;
      case Kind::sync:
      case Kind::syncAll:
      case Kind::answer:
        break;
    }
  }
  DiskState state;
  // A folder whose entry was lost took with it what lay in it.
  for (const std::string& path : disk.folders) {
    if (folderOf(path).empty() || state.folders.contains(folderOf(path))) {
      state.folders.insert(path);
    }
  }
  for (const auto& [path, file] : disk.names) {
    const std::string folder = folderOf(path);
    if (!folder.empty() && !state.folders.contains(folder)) continue;
    const bool isUntouched =
        static_cast<std::size_t>(file) < standing_ && !disk.contents.contains(file);
    state.files[path] = isUntouched ? untouched[static_cast<std::size_t>(file)]
                                    : std::make_shared<const std::string>(contentOf(file));
  }
  return state;
}

}  // namespace quorvin
