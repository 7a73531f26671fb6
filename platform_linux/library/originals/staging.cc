// A file comes into `originals/` before its row is committed, so a crash between the two leaves an
// original of nobody. To look through all originals at each opening would take too long. Therefore
// whoever moves a file there writes its name into a list first, durably, and whoever opens the
// library after a crash looks at the listed ones only: a row names it, and it stays, or it goes.
// The same list serves when rows go before their files.
#include "platform_linux/library/originals/staging.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform_linux/errors/system_failure.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/catalogue/sqlite.h"
#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr const char* kListName = "/originals.list";

// A list is made of this many bytes, empty lines, so that what is written to it later changes
// neither its size nor its place, and is durable in one step.
constexpr std::size_t kListSize = 4096;

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

// The paths of a list; a last line that was cut short is not one.
std::vector<std::string> listedPaths(const fs::path& list) {
  std::ifstream file(list);
  std::vector<std::string> paths;
  std::string line;
  while (std::getline(file, line) && !file.eof()) {
    // Only what can have been written here.
    if (!line.empty() && line.front() != '/' && line.find("..") == std::string::npos) {
      paths.push_back(line);
    }
  }
  return paths;
}

// False when the catalogue could not tell, so that the list must stay.
bool removeUnnamed(Database& database, const LibraryFolder& folder,
                   const std::vector<std::string>& paths) {
  for (const std::string& path : paths) {
    const std::optional<bool> isNamed = isNamedOriginal(database, path);
    if (!isNamed) return false;
    if (*isNamed) continue;
    if (::unlink((folder.originals() + "/" + path).c_str()) != 0 && errno != ENOENT) return false;
  }
  return true;
}

}  // namespace

Done syncFolder(const std::string& path) {
  const FileDescriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder || ::fsync(folder.get()) != 0) {
    return systemFailure("The folder “" + path + "” cannot be made durable", errno);
  }
  return Null{};
}

Result<std::unique_ptr<Staging>> Staging::begin(const LibraryFolder& folder) {
  auto lock = LibraryLock::acquire(folder.lockFile(), LibraryLock::Area::staging,
                                   LibraryLock::Mode::shared);
  if (!lock) return lock.error();
  const std::string path = folder.incoming() + "/" + newUuid();
  const std::string failure = "The library “" + folder.root + "” cannot take in files";
  if (::mkdir(path.c_str(), 0700) != 0) return systemFailure(failure, errno);
  FileDescriptor list(
      ::open((path + kListName).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!list) {
    const int reason = errno;
    ::rmdir(path.c_str());
    return systemFailure(failure, reason);
  }
  std::unique_ptr<Staging> staging(new Staging(*std::move(lock), path, std::move(list)));
  const int listed = staging->list_.get();
  if (!writeAt(listed, std::string(kListSize, '\n'), 0) || ::fsync(listed) != 0) {
    return systemFailure(failure, errno);
  }
  for (const std::string& made : {path, folder.incoming()}) {
    if (auto synced = syncFolder(made); !synced) return synced.error();
  }
  return staging;
}

Staging::~Staging() {
  if (isListing_) return;
  std::error_code error;
  fs::remove_all(path_, error);
}

Done Staging::announce(const std::vector<std::string>& paths) {
  // What was cut short before is no part of the first path.
  std::string lines = "\n";
  for (const std::string& path : paths) lines += path + "\n";
  isListing_ = true;
  if (!writeAt(list_.get(), lines, listed_) || ::fdatasync(list_.get()) != 0) {
    return systemFailure("The files to be moved cannot be listed", errno);
  }
  listed_ += static_cast<std::int64_t>(lines.size());
  return Null{};
}

void Staging::forget() {
  // Should it fail, the list says more than it needs to, which does no harm.
  isListing_ = !writeAt(list_.get(), std::string(static_cast<std::size_t>(listed_), '\n'), 0);
  if (!isListing_) listed_ = 0;
}

std::set<std::string> announcedOriginals(const LibraryFolder& folder) {
  std::set<std::string> announced;
  std::error_code error;
  for (fs::directory_iterator entry(folder.incoming(), error), end; !error && entry != end;
       entry.increment(error)) {
    for (std::string& path : listedPaths(entry->path().string() + kListName)) {
      announced.insert(std::move(path));
    }
  }
  return announced;
}

void sweepStaging(const LibraryFolder& folder) {
  std::error_code error;
  if (fs::is_empty(folder.incoming(), error) || error) return;
  const auto writer = LibraryLock::tryAcquire(folder.lockFile(), LibraryLock::Area::writer,
                                              LibraryLock::Mode::exclusive);
  const auto staging = LibraryLock::tryAcquire(folder.lockFile(), LibraryLock::Area::staging,
                                               LibraryLock::Mode::exclusive);
  if (!writer || !staging) return;
  const auto database = Database::open(folder.catalogue(), Database::Use::write);
  // Nothing goes by rows that may yet turn out otherwise.
  if (!database || !(*database)->settleLog()) return;
  for (fs::directory_iterator entry(folder.incoming(), error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string path = entry->path().string();
    if (!removeUnnamed(**database, folder, listedPaths(path + kListName))) continue;
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
}

}  // namespace quorvin
