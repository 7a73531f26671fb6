// A file comes into `originals/` before its row is committed, so a crash between the two leaves an
// original of nobody. To look through all originals at each opening would take too long. Therefore
// whoever moves a file there writes its name into a list first, durably, and whoever opens the
// library after a crash looks at the listed ones only: a row names it, and it stays, or it goes.
// The same list serves when rows go before their files.
#include "platform_linux/library/originals/staging.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform_linux/errors/system_failure.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

constexpr const char* kListName = "/originals.list";

// A list is made of this many bytes, empty lines, so that what is written to it later changes
// neither its size nor its place, and is durable in one step.
constexpr std::size_t kListSize = 4096;
// More than any path of an original has.
constexpr std::size_t kLongestPath = 100;

bool writeAt(int fd, std::string_view bytes, std::int64_t offset) {
  while (!bytes.empty()) {
    const ssize_t written = ::pwrite(fd, bytes.data(), bytes.size(), offset);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
    offset += written;
  }
  return true;
}

// Whoever stages holds its list. The library's lock says so too, but only as long as nobody
// removes or replaces the lock file.
bool isInUse(const LibraryFolder& folder, const std::string& staging) {
  const FileDescriptor list = folder.held->openRegularFile(staging + kListName);
  return list && ::flock(list.get(), LOCK_EX | LOCK_NB) != 0;
}

// The paths of a staging folder's list: only those that can have been written here. A last line
// that was cut short is not one.
std::vector<std::string> listedPaths(const LibraryFolder& folder, const std::string& staging) {
  const FileDescriptor list = folder.held->openRegularFile(staging + kListName);
  std::vector<std::string> paths;
  std::array<char, kListSize> block;
  std::string line;
  for (;;) {
    const ssize_t size = list ? ::read(list.get(), block.data(), block.size()) : 0;
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return paths;
    for (const char c : std::string_view(block.data(), static_cast<std::size_t>(size))) {
      if (c != '\n') {
        if (line.size() <= kLongestPath) line += c;
        continue;
      }
      if (resourcePathIsOurs(line)) paths.push_back(line);
      line.clear();
    }
  }
}

// Also on a full disk.
bool settleLog(Database& database, const LibraryFolder& folder) {
  return database.settleLog() || (folder.reserve().giveUp() && database.settleLog());
}

Failure cannotList(int error) {
  return systemFailure("the files to be moved cannot be listed", error);
}

// False when the catalogue could not tell, so that the list must stay.
bool removeUnnamed(Database& database, const LibraryFolder& folder,
                   const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    const std::optional<bool> isNamed = isNamedOriginal(database, path);
    if (!isNamed) return false;
    if (*isNamed) continue;
    if (!removeOriginal(folder, path)) return false;
  }
  return true;
}

}  // namespace

Result<std::unique_ptr<Staging>> Staging::begin(const LibraryFolder& folder) {
  auto lock = LibraryLock::acquire(folder, LibraryLock::Area::staging, LibraryLock::Mode::shared);
  if (!lock) return lock.error();
  const std::string path = std::string(LibraryFolder::kIncoming) + "/" + newUuid();
  const std::string failure = "the library “" + folder.root + "” cannot take in files";
  const Folder& held = *folder.held;
  int error = held.makeFolder(path, 0700);
  if (error == 0) error = held.setMode(path, 0700);
  if (error != 0) return systemFailure(failure, error);
  FileDescriptor list = held.openFile(path + kListName, O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!list || ::fchmod(list.get(), 0600) != 0) {
    error = errno;
    held.removeTree(path);
    return systemFailure(failure, error);
  }
  std::unique_ptr<Staging> staging(new Staging(*std::move(lock), folder, path, std::move(list)));
  const int listed = staging->list_.get();
  ::flock(listed, LOCK_SH);
  if (!writeAt(listed, std::string(kListSize, '\n'), 0)) return systemFailure(failure, errno);
  return staging;
}

Staging::~Staging() {
  if (!isListing_) folder_.held->removeTree(path_);
}

bool Staging::isThere() const {
  return static_cast<bool>(folder_.held->openFolder(path_));
}

Done Staging::announce(const std::vector<std::string>& paths) {
  const Done listed = list(paths);
  return listed ? makeListDurable() : listed;
}

Done Staging::list(const std::vector<std::string>& paths) {
  // What was cut short before is no part of the first path.
  std::string lines = "\n";
  for (const std::string& path : paths) lines += path + "\n";
  isListing_ = true;
  if (!writeAt(list_.get(), lines, listed_)) return cannotList(errno);
  listed_ += static_cast<std::int64_t>(lines.size());
  return Null{};
}

Done Staging::makeListDurable() {
  if (isFolderDurable_) return ::fdatasync(list_.get()) == 0 ? Done(Null{}) : cannotList(errno);
  if (::fsync(list_.get()) != 0) return cannotList(errno);
  for (const std::string& made : {path_, std::string(LibraryFolder::kIncoming)}) {
    if (auto synced = syncFolder(folder_, made); !synced) return synced;
  }
  isFolderDurable_ = true;
  return Null{};
}

void Staging::forget() {
  // Should it fail, the list says more than it needs to, which does no harm.
  isListing_ = !writeAt(list_.get(), std::string(static_cast<std::size_t>(listed_), '\n'), 0);
  if (!isListing_) listed_ = 0;
}

std::set<std::string> announcedOriginals(const LibraryFolder& folder) {
  std::set<std::string> announced;
  for (const std::string& staging : leftovers(folder)) {
    for (std::string& path : listedPaths(folder, staging)) announced.insert(std::move(path));
  }
  return announced;
}

std::vector<std::string> leftovers(const LibraryFolder& folder) {
  const std::string incoming = LibraryFolder::kIncoming;
  std::vector<Folder::Entry> entries;
  if (const Folder opened = folder.held->openFolder(incoming)) opened.list(entries);
  std::vector<std::string> paths;
  for (const Folder::Entry& entry : entries) paths.push_back(incoming + "/" + entry.name);
  return paths;
}

void sweepStaging(const LibraryFolder& folder) {
  if (leftovers(folder).empty()) return;
  const auto writer =
      LibraryLock::tryAcquire(folder, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  const auto staging =
      LibraryLock::tryAcquire(folder, LibraryLock::Area::staging, LibraryLock::Mode::exclusive);
  if (!writer || !staging) return;
  const auto database = Database::open(folder.catalogueFile(), Database::Use::write);
  // Nothing goes by rows that may yet turn out otherwise.
  if (!database || !requirePresentVersion(**database, folder) || !settleLog(**database, folder)) {
    return;
  }
  for (const std::string& path : leftovers(folder)) {
    if (isInUse(folder, path)) continue;
    if (!removeUnnamed(**database, folder, listedPaths(folder, path))) continue;
    if (folder.held->removeTree(path) != 0) folder.held->removeFile(path);
  }
  folder.reserve().keep();
}

}  // namespace quorvin
