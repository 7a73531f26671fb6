// The old catalogue is read from a copy, so that nothing is done to it. The new one is complete and
// durable, as the newest snapshot, before the old one is moved aside and a copy of the new one
// takes its place: whenever that is cut short, the next repair goes on from the snapshot.
#include "platform_linux/library/upkeep/rescue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <memory>
#include <utility>

#include "core/platform/photo_library.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/library/catalogue/consistency.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/salvage.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/snapshots/snapshot.h"
#include "platform_linux/library/upkeep/adoption.h"
#include "platform_linux/library/upkeep/schema_pages.h"

namespace quorvin {
namespace {

constexpr const char* kNew = "snapshots/rescued.sqlite";
constexpr const char* kOld = "snapshots/damaged.sqlite";
constexpr std::array<const char*, 3> kParts = {"", "-wal", "-shm"};

std::string pathIn(const LibraryFolder& folder, const std::string& path) {
  const std::string catalogue = folder.catalogueFile();
  return catalogue.substr(0, catalogue.rfind('/') + 1) + path;
}

Failure failed(int error) {
  return systemFailure("the catalogue cannot be made anew", error);
}

bool isThere(const LibraryFolder& folder, const std::string& path) {
  struct stat status = {};
  return folder.held->status(path, status) == 0;
}

int copyFile(const LibraryFolder& folder, const std::string& from, const std::string& to) {
  const FileDescriptor source = folder.held->openRegularFile(from);
  struct stat status = {};
  if (!source || ::fstat(source.get(), &status) != 0) return errno;
  folder.held->removeFile(to);
  const FileDescriptor target = folder.held->openFile(to, O_RDWR | O_CREAT | O_EXCL, 0600);
  if (!target) return errno;
  if (const auto failure = copyContent(source.get(), 0, status.st_size, target.get())) {
    return failure->errorNumber;
  }
  return ::fsync(target.get()) == 0 ? 0 : errno;
}

void removeDatabase(const LibraryFolder& folder, const std::string& path) {
  for (const char* part : kParts) folder.held->removeFile(path + part);
}

std::string counted(std::int64_t count, const std::string& one, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string sentenceOf(const SalvagedRows& rows, const std::string& source) {
  return source + " gave " + counted(rows.assets, "asset", "assets") + ", " +
         counted(rows.originals, "original", "originals") + ", " +
         counted(rows.albums, "album", "albums") + " and " +
         counted(rows.members, "place in albums", "places in albums") + ".";
}

/// One repair. The caller is alone with the library.
class Rescue {
 public:
  explicit Rescue(const LibraryFolder& folder) : folder_(folder) {}

  Result<std::vector<std::string>> run() {
    if (auto made = makeNew(); !made) return made.error();
    const bool isBegun = beginSalvage(*new_);
    if (!isBegun) return new_->lastError("the catalogue cannot be made anew");
    readOld();
    readSnapshot();
    adopt();
    const auto given = finishSalvage(*new_, status_);
    if (!given || !damageOf(*new_).empty()) {
      return new_->lastError("the catalogue cannot be made anew");
    }
    if (*given > 0) {
      tell(counted(*given, "row", "rows") +
           " of assets or albums that are gone did not come back.");
    }
    new_->emptyLog();
    new_.reset();
    for (const char* part : {"-wal", "-shm"}) folder_.held->removeFile(std::string(kNew) + part);
    if (auto replaced = replace(); !replaced) return replaced.error();
    return std::move(sentences_);
  }

 private:
  void tell(std::string sentence) { sentences_.push_back(std::move(sentence)); }

  Done makeNew() {
    constexpr mode_t kPrivate = 0700;
    if (folder_.held->makeFolder(LibraryFolder::kSnapshots, kPrivate) == 0) {
      folder_.held->setMode(LibraryFolder::kSnapshots, kPrivate);
      // The snapshot that it will hold is all there is once the old catalogue is moved aside.
      if (auto synced = syncFolder(folder_, ""); !synced) return synced;
    }
    removeDatabase(folder_, kNew);
    if (!folder_.held->openFile(kNew, O_RDWR | O_CREAT | O_EXCL, 0600)) return failed(errno);
    auto opened = Database::open(pathIn(folder_, kNew), Database::Use::write);
    if (!opened) return opened.error();
    new_ = *std::move(opened);
    auto made = migrate(*new_, 0);
    // Its pages may be asked for where the tables of the old one are.
    if (made) new_->emptyLog();
    return made;
  }

  // What the old file gives, by itself or with the pages that say where its tables are taken from
  // elsewhere.
  void readOld() {
    struct stat status = {};
    if (folder_.held->status(LibraryFolder::kCatalogue, status) != 0 || status.st_size == 0) {
      tell("Of the old catalogue nothing is left.");
      return;
    }
    std::vector<std::string> patterns = {""};
    for (const std::string& snapshot : snapshotsOf(folder_)) patterns.push_back(snapshot);
    patterns.emplace_back(kNew);
    for (const std::string& pattern : patterns) {
      if (readOldWith(pattern)) return;
    }
    tell("The old catalogue cannot be read at all.");
  }

  bool readOldWith(const std::string& pattern) {
    removeDatabase(folder_, kOld);
    const bool isCopied = copyFile(folder_, LibraryFolder::kCatalogue, kOld) == 0 &&
                          (pattern.empty() || transplantSchema(*folder_.held, pattern, kOld));
    const std::string log = std::string(LibraryFolder::kCatalogue) + "-wal";
    if (isThere(folder_, log)) copyFile(folder_, log, std::string(kOld) + "-wal");
    bool isRead = false;
    if (auto old = Database::open(pathIn(folder_, kOld), Database::Use::read);
        isCopied && old && showsTables(**old)) {
      tell(sentenceOf(salvageRows(**old, *new_), "The old catalogue"));
      isRead = true;
    }
    removeDatabase(folder_, kOld);
    return isRead;
  }

  // The newest one that is whole.
  void readSnapshot() {
    for (const std::string& path : snapshotsOf(folder_)) {
      auto copy = openSnapshot(folder_, path);
      if (!copy || !showsTables(**copy) || !(*copy)->isSound()) {
        tell("The snapshot “" + path + "” is damaged.");
        continue;
      }
      status_ = statusIn(**copy).value_or(status_);
      const auto rows = salvageRows(**copy, *new_, [this](const std::string& original) {
        return isThere(folder_, std::string(LibraryFolder::kOriginals) + "/" + original);
      });
      tell(sentenceOf(rows, "The snapshot “" + path + "”"));
      return;
    }
    tell("There is no snapshot of the catalogue: access to the library is authorized.");
  }

  void adopt() {
    const Adopted adopted = adoptOriginals(folder_, *new_);
    tell(counted(adopted.originals, "original", "originals") + " came back by " +
         (adopted.originals == 1 ? "its" : "their") + " own records.");
    if (adopted.withoutRecord > 0) {
      tell(counted(adopted.withoutRecord, "original has", "originals have") +
           " none: names and dates are guessed.");
    }
    for (const std::string& path : adopted.impossible) {
      tell("The original “" + path + "” could not be brought back.");
    }
  }

  Done replace() {
    const auto snapshot = adoptAsSnapshot(folder_, kNew);
    if (!snapshot) return snapshot.error();
    if (const int error = copyFile(folder_, *snapshot, kNew); error != 0) return failed(error);
    const Folder& held = *folder_.held;
    const std::string catalogue = LibraryFolder::kCatalogue;
    std::string aside;
    for (int number = 1; aside.empty(); ++number) {
      aside = catalogue + ".damaged-" + std::to_string(number);
      for (const char* part : kParts) {
        if (isThere(folder_, aside + part)) {
          aside.clear();
          break;
        }
      }
    }
    bool isAnyKept = false;
    // The log goes first: without it the catalogue is an older one, and with it alone there is
    // none.
    for (const char* part : {"-wal", "-shm", ""}) {
      const int error = held.rename(catalogue + part, held, aside + part, Folder::Existing::keep);
      if (error != 0 && error != ENOENT) return failed(error);
      isAnyKept = isAnyKept || (error == 0 && *part == '\0');
    }
    if (const int error = held.rename(kNew, held, catalogue, Folder::Existing::keep); error != 0) {
      return failed(error);
    }
    if (isAnyKept) tell("The old catalogue was kept as “" + aside + "”.");
    return syncFolder(folder_, "");
  }

  const LibraryFolder& folder_;
  std::unique_ptr<Database> new_;
  std::int64_t status_ = static_cast<std::int64_t>(PHAuthorizationStatus::authorized);
  std::vector<std::string> sentences_;
};

}  // namespace

std::optional<std::string> troubleOf(const LibraryFolder& folder) {
  const auto state = folderState(folder);
  if (!state) return std::nullopt;
  if (*state == FolderState::lost) return "is missing";
  if (*state != FolderState::catalogue) return std::nullopt;
  struct stat status = {};
  // Anything else that is called so is not ours to replace.
  const bool isUsed = wasInUse(folder) || (isThere(folder, LibraryFolder::kOriginals) &&
                                           isThere(folder, LibraryFolder::kLockFile));
  if (folder.held->status(LibraryFolder::kCatalogue, status) == 0 && status.st_size == 0) {
    return isUsed ? std::optional<std::string>("is empty") : std::nullopt;
  }
  const std::optional<std::string> isDamaged = "is damaged";
  auto database = Database::open(folder.catalogueFile(), Database::Use::read);
  if (!database) return isUsed && database.error().isOfCatalogue ? isDamaged : std::nullopt;
  const auto known = catalogueState(**database);
  if (!known) return isUsed && known.error().isOfCatalogue ? isDamaged : std::nullopt;
  switch (*known) {
    case CatalogueState::newer:
      return std::nullopt;
    case CatalogueState::empty:
    case CatalogueState::foreign:
      return isUsed ? isDamaged : std::nullopt;
    case CatalogueState::older:
    case CatalogueState::current:
      return (*database)->soundness() == Database::Soundness::damaged ? isDamaged : std::nullopt;
  }
  return std::nullopt;
}

Result<std::vector<std::string>> rescueCatalogue(const LibraryFolder& folder) {
  const auto presence =
      LibraryLock::tryAcquire(folder, LibraryLock::Area::presence, LibraryLock::Mode::exclusive);
  const auto writer =
      LibraryLock::tryAcquire(folder, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  if (!presence || !writer) {
    return Failure(LibraryErrorCode::operationInterrupted,
                   "the catalogue “" + folder.catalogue() +
                       "” can be repaired only while no other program has the library open.");
  }
  auto told = Rescue(folder).run();
  removeDatabase(folder, kNew);
  return told;
}

}  // namespace quorvin
