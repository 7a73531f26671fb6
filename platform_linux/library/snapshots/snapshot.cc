// Snapshots are numbered, so that their order does not hang on a clock. One that is being made has
// another name, and gets its number once it was found whole.
#include "platform_linux/library/snapshots/snapshot.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "platform_linux/errors/system_failure.h"
#include "platform_linux/library/catalogue/journal.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/schema.h"
#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

constexpr std::size_t kDigits = 9;
constexpr std::string_view kEnding = ".sqlite";
constexpr const char* kUnfinished = "snapshots/unfinished.sqlite";

// 0: it is none.
std::int64_t numberOf(const std::string& name) {
  if (name.size() != kDigits + kEnding.size() || !name.ends_with(kEnding)) return 0;
  const std::string digits = name.substr(0, kDigits);
  const bool isNumber = digits.find_first_not_of("0123456789") == std::string::npos;
  return isNumber ? std::strtoll(digits.c_str(), nullptr, 10) : 0;
}

std::string pathOf(std::int64_t number) {
  std::string digits = std::to_string(number);
  digits.insert(0, kDigits - std::min(kDigits, digits.size()), '0');
  return std::string(LibraryFolder::kSnapshots) + "/" + digits + std::string(kEnding);
}

std::string fileOf(const LibraryFolder& folder, const std::string& path) {
  const std::string catalogue = folder.catalogueFile();
  return catalogue.substr(0, catalogue.rfind('/') + 1) + path;
}

Failure cannotKeep(int error) {
  return systemFailure("the snapshot of the catalogue cannot be kept", error);
}

int makeShelf(const LibraryFolder& folder) {
  constexpr mode_t kPrivate = 0700;
  const int error = folder.held->makeFolder(LibraryFolder::kSnapshots, kPrivate);
  if (error == EEXIST) return 0;
  if (error != 0) return error;
  folder.held->setMode(LibraryFolder::kSnapshots, kPrivate);
  return folder.held->sync();
}

bool isWhole(const LibraryFolder& folder, const std::string& path) {
  const auto copy = openSnapshot(folder, path);
  if (!copy) return false;
  const auto application = (*copy)->integer("PRAGMA application_id");
  return application == kCatalogueApplicationId && (*copy)->isSound();
}

int syncFile(const LibraryFolder& folder, const std::string& path) {
  const FileDescriptor file = folder.held->openFile(path, O_RDWR);
  return file && ::fsync(file.get()) == 0 ? 0 : errno;
}

void dropOlder(const LibraryFolder& folder, OlderSnapshots older) {
  std::vector<std::string> paths = snapshotsOf(folder);
  if (older == OlderSnapshots::replaceNewest && paths.size() > 1) {
    folder.held->removeFile(paths[1]);
    paths.erase(paths.begin() + 1);
  }
  for (std::size_t i = kSnapshotsKept; i < paths.size(); ++i) folder.held->removeFile(paths[i]);
}

Done copyAndAdopt(const LibraryFolder& folder, Database& catalogue,
                  const std::function<bool()>& shouldStop, OlderSnapshots older) {
  folder.held->removeFile(kUnfinished);
  const FileDescriptor made = folder.held->openFile(kUnfinished, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!made) return cannotKeep(errno);
  if (!catalogue.copyTo(fileOf(folder, kUnfinished), shouldStop)) {
    return Failure(LibraryErrorCode::operationInterrupted,
                   "the snapshot of the catalogue was not finished.");
  }
  if (!isWhole(folder, kUnfinished)) return needsRescue(folder.catalogue());
  const auto adopted = adoptAsSnapshot(folder, kUnfinished);
  if (!adopted) return adopted.error();
  dropOlder(folder, older);
  return Null{};
}

}  // namespace

std::vector<std::string> snapshotsOf(const LibraryFolder& folder) {
  std::vector<Folder::Entry> entries;
  if (const Folder shelf = folder.held->openFolder(LibraryFolder::kSnapshots)) shelf.list(entries);
  std::vector<std::int64_t> numbers;
  for (const Folder::Entry& entry : entries) {
    const std::int64_t number = numberOf(entry.name);
    if (number > 0 && entry.kind == Folder::Kind::file) numbers.push_back(number);
  }
  std::ranges::sort(numbers, std::greater());
  std::vector<std::string> paths;
  for (const std::int64_t number : numbers) paths.push_back(pathOf(number));
  return paths;
}

Result<std::unique_ptr<Database>> openSnapshot(const LibraryFolder& folder,
                                               const std::string& path) {
  return Database::open(fileOf(folder, path), Database::Use::snapshot);
}

Done makeSnapshot(const LibraryFolder& folder, Database& catalogue,
                  const std::function<bool()>& shouldStop, OlderSnapshots older) {
  const auto lock =
      LibraryLock::tryAcquire(folder, LibraryLock::Area::snapshot, LibraryLock::Mode::exclusive);
  if (!lock) {
    return Failure(LibraryErrorCode::operationInterrupted,
                   "another program makes a snapshot of the catalogue.");
  }
  if (const int error = makeShelf(folder); error != 0) return cannotKeep(error);
  auto done = copyAndAdopt(folder, catalogue, shouldStop, older);
  if (!done) folder.held->removeFile(kUnfinished);
  return done;
}

Result<std::string> adoptAsSnapshot(const LibraryFolder& folder, const std::string& path) {
  if (const int error = makeShelf(folder); error != 0) return cannotKeep(error);
  if (const int error = syncFile(folder, path); error != 0) return cannotKeep(error);
  const std::vector<std::string> there = snapshotsOf(folder);
  constexpr std::size_t kNameAt = 10;  // behind the folder's name and "/"
  const std::int64_t last = there.empty() ? 0 : numberOf(there.front().substr(kNameAt));
  std::string target = pathOf(last + 1);
  const Folder& held = *folder.held;
  if (const int error = held.rename(path, held, target, Folder::Existing::keep); error != 0) {
    return cannotKeep(error);
  }
  const auto synced = syncFolder(folder, LibraryFolder::kSnapshots);
  if (!synced) return synced.error();
  return target;
}

std::optional<SnapshotAge> ageOfNewestSnapshot(const LibraryFolder& folder, Database& catalogue) {
  const auto now = lastJournalEntry(catalogue);
  if (!now) return std::nullopt;
  const std::vector<std::string> paths = snapshotsOf(folder);
  const std::string_view newest =
      paths.empty() ? std::string_view(LibraryFolder::kLockFile) : paths.front();
  SnapshotAge age;
  struct stat status = {};
  if (folder.held->status(newest, status) == 0) {
    age.bytes = status.st_size;
    age.made = status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec;
  }
  age.isAny = !paths.empty();
  age.changes = *now;
  if (!age.isAny) return age;
  const auto copy = openSnapshot(folder, paths.front());
  const auto then = copy ? lastJournalEntry(**copy) : std::nullopt;
  // After a repair the count begins anew.
  if (then) age.changes = *now < *then ? *now : *now - *then;
  return age;
}

}  // namespace quorvin
