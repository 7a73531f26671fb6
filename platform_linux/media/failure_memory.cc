#include "platform_linux/media/failure_memory.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>

#include "codec/standard_message_codec.h"
#include "codec/utf8.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/files/temporary_directory.h"
#include "posix/file_descriptor.h"
#include "posix/write_all.h"

namespace quorvin {
namespace {

constexpr std::size_t kMostFailures = 1000;
constexpr std::size_t kLongestEntry = 16'384;  // bytes
constexpr mode_t kPrivateFile = 0600;
constexpr mode_t kPrivateFolder = 0700;

const char* nameOf(MediaWork work) {
  switch (work) {
    case MediaWork::probe:
      return "probe";
    case MediaWork::preview:
      return "preview";
    case MediaWork::picture:
      return "picture";
    case MediaWork::containers:
      return "containers";
    case MediaWork::video:
      return "video";
  }
  return "";
}

std::string stateOf(const std::string& program) {
  struct stat status = {};
  if (::stat(program.c_str(), &status) != 0) return program;
  return program + " " + std::to_string(status.st_size) + " " +
         std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
}

// The beginning of an entry's name, by which files of another size need not be read.
std::string sizeOf(int file) {
  struct stat status = {};
  if (::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return "";
  return std::to_string(status.st_size) + "-";
}

// Empty when the file cannot be read.
std::string entryName(int file, MediaWork work) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const std::string size = sizeOf(file);
  const auto hash = size.empty() ? Result<std::string>(Failure()) : hashContent(file);
  if (!hash) return "";
  std::string name = size;
  for (const char c : *hash) {
    name += kDigits[static_cast<unsigned char>(c) >> 4];
    name += kDigits[static_cast<unsigned char>(c) & 15];
  }
  return name + "-" + nameOf(work);
}

std::string pathOf(int file) {
  std::array<char, PATH_MAX> path{};
  const ssize_t length =
      ::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path.data(), path.size());
  return length > 0 ? std::string(path.data(), static_cast<std::size_t>(length)) : "";
}

std::optional<std::string> textAt(const Map& map, std::string_view key) {
  const Value* value = find(map, key);
  if (value == nullptr || !value->isText()) return std::nullopt;
  return std::string(value->text());
}

std::vector<std::uint8_t> contentOf(const FileDescriptor& file) {
  std::vector<std::uint8_t> content(kLongestEntry);
  const ssize_t size = ::read(file.get(), content.data(), content.size());
  content.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return content;
}

}  // namespace

FailureMemory::FailureMemory(std::string folder, const std::string& workerProgram)
    : path_(std::move(folder)), program_(stateOf(workerProgram)) {}

std::optional<Failure> FailureMemory::recall(int file, MediaWork work) {
  const std::string size = sizeOf(file);
  {
    const NSLockHolder held(lock_);
    refresh();
    const auto first = entries_.lower_bound(size);
    if (size.empty() || first == entries_.end() || !first->first.starts_with(size)) {
      return std::nullopt;
    }
  }
  const std::string name = entryName(file, work);
  const NSLockHolder held(lock_);
  const auto found = entries_.find(name);
  if (found == entries_.end()) return std::nullopt;
  return Failure(static_cast<LibraryErrorCode>(found->second.code),
                 "the file is set aside, for it was tried before: " + found->second.file.reason +
                     " “quorvin doctor --forget” has it tried again.");
}

void FailureMemory::remember(int file, MediaWork work, const Failure& failure) {
  if (path_.empty()) return;
  const std::string name = entryName(file, work);
  if (name.empty()) return;
  const auto content = encodeMessage(Map{{"program", program_},
                                         {"path", validUtf8(pathOf(file))},
                                         {"code", failure.code},
                                         {"reason", failure.reason}});
  const NSLockHolder held(lock_);
  refresh();
  if (!folder_) {
    if (makeFolders(path_, kPrivateFolder) != 0) return;
    folder_ = Folder::open(path_);
  }
  makeRoom();
  const std::string unfinished = "." + name + "." + std::to_string(::getpid());
  const FileDescriptor made =
      folder_.openFile(unfinished, O_WRONLY | O_CREAT | O_TRUNC, kPrivateFile);
  if (!made) return;
  if (writeAll(made.get(), content) != 0 ||
      folder_.rename(unfinished, folder_, name, Folder::Existing::replace) != 0) {
    folder_.removeFile(unfinished);
  }
}

std::vector<FailedFile> FailureMemory::all() {
  const NSLockHolder held(lock_);
  refresh();
  std::vector<FailedFile> files;
  for (const auto& [name, entry] : entries_) files.push_back(entry.file);
  std::ranges::sort(files, {}, &FailedFile::path);
  return files;
}

bool FailureMemory::forget() {
  const NSLockHolder held(lock_);
  entries_.clear();
  changed_ = {};
  folder_ = Folder();
  const Folder folder = path_.empty() ? Folder() : Folder::open(path_);
  if (!folder) return path_.empty() || errno == ENOENT;
  std::vector<Folder::Entry> there;
  bool isGone = folder.list(there) == 0;
  for (const Folder::Entry& each : there) isGone = folder.removeFile(each.name) == 0 && isGone;
  return isGone;
}

void FailureMemory::refresh() {
  if (path_.empty()) return;
  struct stat status = {};
  const bool isThere = ::stat(path_.c_str(), &status) == 0;
  if (!isThere) {
    entries_.clear();
    folder_ = Folder();
    return;
  }
  const timespec& now = status.st_mtim;
  if (folder_ && now.tv_sec == changed_.tv_sec && now.tv_nsec == changed_.tv_nsec) return;
  folder_ = Folder::open(path_);
  changed_ = now;
  entries_.clear();
  std::vector<Folder::Entry> there;
  if (!folder_ || folder_.list(there) != 0) return;
  for (const Folder::Entry& each : there) {
    if (each.kind != Folder::Kind::file || each.name.starts_with('.')) continue;
    if (auto entry = read(each.name)) entries_.emplace(each.name, *std::move(entry));
  }
}

std::optional<FailureMemory::Entry> FailureMemory::read(const std::string& name) const {
  const FileDescriptor file = folder_.openRegularFile(name);
  if (!file) return std::nullopt;
  const auto value = decodeMessage(contentOf(file));
  const Map* map = value ? value->as<Map>() : nullptr;
  if (map == nullptr) return std::nullopt;
  const auto program = textAt(*map, "program");
  const auto path = textAt(*map, "path");
  const auto reason = textAt(*map, "reason");
  const Value* code = find(*map, "code");
  const auto* number = code == nullptr ? nullptr : code->as<std::int64_t>();
  if (program != program_ || !path || !reason || number == nullptr) return std::nullopt;
  return Entry{{*path, *reason}, *number};
}

// The oldest go first; those of other programs count as well.
void FailureMemory::makeRoom() {
  std::vector<Folder::Entry> there;
  if (folder_.list(there) != 0 || there.size() < kMostFailures) return;
  std::vector<std::pair<std::int64_t, std::string>> byAge;
  for (const Folder::Entry& each : there) {
    struct stat status = {};
    if (folder_.status(each.name, status) != 0) continue;
    byAge.emplace_back(status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec, each.name);
  }
  std::ranges::sort(byAge);
  for (std::size_t i = 0; i + kMostFailures <= byAge.size(); ++i) {
    folder_.removeFile(byAge[i].second);
  }
}

}  // namespace quorvin
