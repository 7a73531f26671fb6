#include "platform_linux/library/export/export_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <span>
#include <utility>

#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/files/side_file.h"
#include "platform_linux/library/export/export_names.h"
#include "posix/write_all.h"

namespace quorvin {
namespace {

/// What was exported since the list was last written. Whoever writes it locks it.
constexpr const char* kNotes = ".quorvin-export.unfinished";
constexpr mode_t kFolderMode = 0755;
constexpr mode_t kListMode = 0644;

std::span<const std::uint8_t> bytesOfText(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

struct timespec timeOf(std::int64_t nanoseconds) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  const std::int64_t part = ((nanoseconds % kSecond) + kSecond) % kSecond;
  return {nanoseconds / kSecond - (nanoseconds % kSecond < 0), part};
}

/// In the folder of the path, which is opened, by its own name.
FilePlace placeIn(const std::string& root, const Folder& held, const std::string& path) {
  const std::size_t slash = path.rfind('/');
  Folder folder = slash == path.npos ? Folder::open(root) : held.openFolder(path.substr(0, slash));
  const int error = folder ? 0 : errno;
  return {std::move(folder), path.substr(slash + 1), error};
}

}  // namespace

bool meansFull(int error) {
  return error == ENOSPC || error == EDQUOT;
}

Result<ExportFolder> ExportFolder::open(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  Folder folder = Folder::open(path);
  if (!folder) return systemFailure("the folder “" + path + "” cannot be opened", errno);
  ExportFolder opened(path, std::move(folder));
  for (const char* name : {kExportList, kNotes}) {
    if (!opened.isForeign(name)) continue;
    return Failure(LibraryErrorCode::invalidResource,
                   "“" + path + "/" + name +
                       "” is no list of an export; move it elsewhere, or name another folder.");
  }
  opened.notes_ = opened.folder_.openFile(kNotes, O_RDWR | O_CREAT | O_APPEND, kListMode);
  if (!opened.notes_) {
    return systemFailure("the folder “" + path + "” cannot be written to", errno);
  }
  if (::flock(opened.notes_.get(), LOCK_EX | LOCK_NB) != 0) {
    return Failure(LibraryErrorCode::operationInterrupted,
                   "another export is filling the folder “" + path + "”; wait until it is done.");
  }
  return opened;
}

int ExportFolder::enter(const std::string& folder) {
  if (entered_.contains(folder)) return 0;
  for (std::size_t end = folder.find('/');; end = folder.find('/', end + 1)) {
    const std::string part = folder.substr(0, end);
    const int error = folder_.makeFolder(part, kFolderMode);
    if (error == 0) {
      const std::size_t above = part.rfind('/');
      unsynced_.insert(above == part.npos ? "" : part.substr(0, above));
    } else if (error != EEXIST) {
      return error;
    }
    if (end == folder.npos) break;
  }
  const Folder held = folder_.openFolder(folder);
  if (!held) return errno;
  removeAbandonedSideFiles(held);
  std::vector<Folder::Entry> entries;
  if (const int error = held.list(entries); error != 0) return error;
  Entered& entered = entered_[folder];
  for (const Folder::Entry& entry : entries) {
    entered.names[sharedStem(entry.name)].push_back(entry.name);
  }
  return 0;
}

const std::vector<std::string>& ExportFolder::namesakes(const std::string& folder,
                                                        const std::string& stem) {
  return entered_[folder].names[stem];
}

bool ExportFolder::take(const std::string& folder, const std::vector<std::string>& stems) {
  std::set<std::string>& taken = entered_[folder].taken;
  if (std::ranges::any_of(stems, [&](const std::string& stem) { return taken.contains(stem); })) {
    return false;
  }
  taken.insert(stems.begin(), stems.end());
  return true;
}

int ExportFolder::write(const std::string& path, std::optional<std::int64_t> modified,
                        const std::function<int(int file)>& fill) {
  SideFile side(placeIn(path_, folder_, path));
  if (side.error() != 0) return side.error();
  if (const int error = fill(side.file().get()); error != 0) return error;
  if (modified) {
    const struct timespec time = timeOf(*modified);
    const struct timespec times[2] = {time, time};
    // A date that the file system cannot hold is in the XMP as well.
    ::futimens(side.file().get(), times);
  }
  if (const int error = side.sync(); error != 0) return error;
  if (struct stat status = {}; ::fstat(side.file().get(), &status) == 0) written_[path] = status;
  const std::size_t slash = path.rfind('/');
  unsynced_.insert(slash == path.npos ? "" : path.substr(0, slash));
  return side.moveIntoPlace();
}

void ExportFolder::removeWritten(const std::string& path) {
  const auto written = written_.find(path);
  struct stat status = {};
  if (written == written_.end() || folder_.status(path, status) != 0) return;
  const struct stat& before = written->second;
  const bool isIt = status.st_dev == before.st_dev && status.st_ino == before.st_ino &&
                    status.st_size == before.st_size &&
                    status.st_mtim.tv_sec == before.st_mtim.tv_sec &&
                    status.st_mtim.tv_nsec == before.st_mtim.tv_nsec;
  if (isIt) folder_.removeFile(path);
}

bool ExportFolder::hasFile(const std::string& path, std::int64_t size,
                           std::optional<std::int64_t> modified) {
  struct stat status = {};
  if (folder_.status(path, status) != 0 || !S_ISREG(status.st_mode) || status.st_size != size) {
    return false;
  }
  if (!modified) return true;
  const struct timespec time = timeOf(*modified);
  return status.st_mtim.tv_sec == time.tv_sec && status.st_mtim.tv_nsec == time.tv_nsec;
}

std::string ExportFolder::hashOf(const std::string& path, std::int64_t size) {
  const FileDescriptor file = folder_.openRegularFile(path);
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0 || status.st_size != size) return {};
  ::posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
  auto hash = hashContent(file.get());
  return hash ? *std::move(hash) : std::string();
}

int ExportFolder::sync() {
  for (const std::string& folder : unsynced_) {
    const Folder opened = folder.empty() ? Folder() : folder_.openFolder(folder);
    if (!folder.empty() && !opened) return errno;
    if (const int error = folder.empty() ? folder_.sync() : opened.sync(); error != 0) return error;
  }
  unsynced_.clear();
  return 0;
}

std::string ExportFolder::textOf(const char* name) const {
  constexpr std::size_t kLongest = std::size_t{1} << 30;
  std::string text;
  const FileDescriptor file = folder_.openRegularFile(name);
  std::array<char, 1 << 16> buffer;
  while (file && text.size() < kLongest) {
    const ssize_t size = ::read(file.get(), buffer.data(), buffer.size());
    if (size <= 0) break;
    text.append(buffer.data(), static_cast<std::size_t>(size));
  }
  return text;
}

bool ExportFolder::isForeign(const char* name) const {
  struct stat status = {};
  if (folder_.status(name, status) != 0) return false;
  return !S_ISREG(status.st_mode) || !isExportList(textOf(name));
}

ExportList ExportFolder::list() const {
  ExportList list = readExportList(textOf(kExportList));
  for (ListedAsset& asset : readExportList(textOf(kNotes)).assets) {
    list.assets.push_back(std::move(asset));
  }
  return list;
}

int ExportFolder::note(const std::string& lines) {
  struct stat status = {};
  const bool isFirst = ::fstat(notes_.get(), &status) == 0 && status.st_size == 0;
  return writeAll(notes_.get(), bytesOfText(isFirst ? exportListHead({}) + lines : lines));
}

int ExportFolder::replaceList(const std::string& text) {
  const int error = write(kExportList, std::nullopt,
                          [&text](int file) { return writeAll(file, bytesOfText(text)); });
  if (error != 0) return error;
  if (const int unsynced = sync(); unsynced != 0) return unsynced;
  folder_.removeFile(kNotes);
  return 0;
}

}  // namespace quorvin
