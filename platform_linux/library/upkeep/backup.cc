// Originals come first, then the catalogue that names them takes its place in one step, and what no
// row names any more goes last. So the backup is whole at any moment: as of before, or as of now. A
// mark stands in the folder meanwhile, by which a backup that was cut short is known and gone on
// with.
#include "platform_linux/library/upkeep/backup.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <utility>

#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/consistency.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/original_path.h"
#include "platform_linux/library/originals/original_record.h"
#include "platform_linux/library/originals/source_file.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMark = "backup.unfinished";
constexpr const char* kUnfinishedCopy = "library.sqlite.new";
// Assets may go for good meanwhile; then the moment is taken anew.
constexpr int kMostMoments = 20;

std::string original(const std::string& path) {
  return std::string(LibraryFolder::kOriginals) + "/" + path;
}

class Backup {
 public:
  Backup(Catalogue& source, LibraryFolder target, const BackupOptions& options)
      : source_(source), target_(std::move(target)), options_(options) {}

  Result<BackupReport> run() {
    if (auto mine = take(); !mine) return mine.error();
    if (auto copied = copyMoment(); !copied) return copied.error();
    if (auto replaced = replaceCatalogue(); !replaced) return replaced.error();
    removeStrays();
    target_.held->removeFile(kMark);
    if (auto synced = syncFolder(target_, ""); !synced) return synced.error();
    return std::move(report_);
  }

 private:
  Failure cannot(int error) const {
    return systemFailure("the backup “" + target_.root + "” cannot be written", error);
  }
  Failure refused(const std::string& why) const {
    return Failure(LibraryErrorCode::invalidResource,
                   "“" + target_.root + "” cannot be a backup of this library: " + why + ".");
  }

  // Looks whether the folder may become a backup, before anything is made in it.
  Done take() {
    fs::path there = target_.root;
    while (there.has_relative_path() && !fs::exists(there)) there = there.parent_path();
    if (folderLiesIn(source_.folder(), there.string())) return refused("it lies in the library");
    {
      Catalogue::Reader reader = source_.reader();
      if (!reader) return reader.error();
      identity_ = identityOf(*reader);
      if (identity_.empty()) return unreadable(*reader);
    }
    const bool isMarked = readMark() == identity_;
    const auto state = folderState(target_);
    if (!state && !isMarked) return refused("it holds something else");
    if (state && *state == FolderState::lost && !isMarked)
      return refused("it holds something else");
    const bool hasCatalogue = state && *state == FolderState::catalogue;
    if (hasCatalogue) {
      auto old = Database::open(target_.catalogueFile(), Database::Use::read);
      if (!old) return old.error();
      if (identityOf(**old) != identity_) return refused("it holds another library");
      if (!isUnchangedBackup(**old)) return refused("it has been changed since it was made");
    }
    if (auto made = makeFolders(target_); !made) return made;
    auto presence =
        LibraryLock::tryAcquire(target_, LibraryLock::Area::presence, LibraryLock::Mode::exclusive);
    if (!presence) {
      return LibraryLock::isHeld(presence.error()) ? refused("another program has it open")
                                                   : presence.error();
    }
    presence_ = *std::move(presence);
    return mark();
  }

  std::string readMark() const {
    std::array<char, 100> text;
    const FileDescriptor file =
        target_.held ? target_.held->openRegularFile(kMark) : FileDescriptor();
    const ssize_t size = file ? ::read(file.get(), text.data(), text.size()) : 0;
    return {text.data(), static_cast<std::size_t>(size < 0 ? 0 : size)};
  }

  Done mark() {
    const FileDescriptor file = target_.held->openFile(kMark, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const auto size = static_cast<ssize_t>(identity_.size());
    if (!file || ::write(file.get(), identity_.data(), identity_.size()) != size ||
        ::fsync(file.get()) != 0) {
      return cannot(errno);
    }
    return syncFolder(target_, "");
  }

  std::string newFile() const {
    const std::string catalogue = target_.catalogueFile();
    return catalogue.substr(0, catalogue.rfind('/') + 1) + kUnfinishedCopy;
  }

  Done copyCatalogue() {
    for (const char* part : {"", "-wal", "-shm"})
      target_.held->removeFile(std::string(kUnfinishedCopy) + part);
    if (!target_.held->openFile(kUnfinishedCopy, O_RDWR | O_CREAT | O_EXCL, 0600))
      return cannot(errno);
    {
      Catalogue::Reader reader = source_.reader();
      if (!reader) return reader.error();
      if (!reader->copyTo(newFile())) return unreadable(*reader);
    }
    auto copy = Database::open(newFile(), Database::Use::write);
    if (!copy) return copy.error();
    if (!markAsBackup(**copy) || !(*copy)->isSound()) return unreadable(**copy);
    (*copy)->emptyLog();
    return Null{};
  }

  // The catalogue, and all originals that it names.
  Done copyMoment() {
    for (int i = 0; i < kMostMoments; ++i) {
      if (auto copied = copyCatalogue(); !copied) return copied;
      const auto all = copyOriginals();
      if (!all) return all.error();
      if (*all) return Null{};
    }
    return Failure(LibraryErrorCode::operationInterrupted,
                   "assets of the library are going for good all the time; what was copied stays, "
                   "and the next backup goes on with it.");
  }

  // False when an original went for good meanwhile.
  Result<bool> copyOriginals() {
    const auto copy = Database::open(newFile(), Database::Use::snapshot);
    if (!copy) return copy.error();
    report_ = {.newOriginals = report_.newOriginals};
    named_.clear();
    folders_.clear();
    report_.assets = countAssets(**copy);
    report_.originals = countOriginals(**copy);
    if (options_.originalsFound) {
      options_.originalsFound(static_cast<std::size_t>(report_.originals));
    }
    std::vector<OriginalRow> rows = originalsAfter(**copy, -1, 0);
    while (!rows.empty()) {
      for (const OriginalRow& row : rows) {
        const auto there = bring(row);
        if (!there) return there.error();
        if (!*there) return false;
        if (options_.originalDone) options_.originalDone();
      }
      rows = originalsAfter(**copy, rows.back().asset, rows.back().position);
    }
    for (const std::string& folder : folders_) {
      if (auto synced = syncFolder(target_, folder); !synced) return synced.error();
    }
    return true;
  }

  // False when the original went for good.
  Result<bool> bring(const OriginalRow& row) {
    named_.insert(row.path);
    struct stat status = {};
    if (target_.held->status(original(row.path), status) == 0 && S_ISREG(status.st_mode) &&
        status.st_size == row.size) {
      report_.bytes += row.size;
      return true;
    }
    const FileDescriptor file = originalFile(source_.folder(), row.path).open();
    if (!file) {
      Catalogue::Reader reader = source_.reader();
      if (!reader) return reader.error();
      if (isNamedOriginal(*reader, row.path) == false) return false;
      report_.problems.push_back("The original “" + row.path + "” of “" + row.name +
                                 "” is not in the library.");
      return true;
    }
    target_.held->removeFile(original(row.path));
    if (const int error = transfer(file.get(), row.path); error != 0) return cannot(error);
    ++report_.newOriginals;
    report_.bytes += row.size;
    return true;
  }

  int transfer(int file, const std::string& path) {
    constexpr mode_t kPrivate = 0700;
    const std::string place = original(path);
    const std::string folder = place.substr(0, place.rfind('/'));
    if (target_.held->makeFolder(folder, kPrivate) == 0) {
      target_.held->setMode(folder, kPrivate);
      folders_.insert(LibraryFolder::kOriginals);
    }
    folders_.insert(folder);
    const std::string coming = std::string(LibraryFolder::kIncoming) + "/copy";
    target_.held->removeFile(coming);
    FileDescriptor copy = target_.held->openFile(coming, O_RDWR | O_CREAT | O_EXCL, 0600);
    if (!copy) return errno;
    const auto record = readRecord(source_.folder(), path);
    if (::ioctl(copy.get(), FICLONE, file) != 0) {
      if (options_.mayLink && source_.folder().held->link(place, *target_.held, place) == 0) {
        target_.held->removeFile(coming);
        if (record && !readRecord(target_, path)) writeRecord(target_, -1, *record);
        return 0;
      }
      struct stat status = {};
      if (::fstat(file, &status) != 0) return errno;
      if (const auto failure = copyContent(file, 0, status.st_size, copy.get())) {
        return failure->errorNumber;
      }
    }
    struct stat status = {};
    if (::fstat(file, &status) != 0) return errno;
    const struct timespec times[2] = {status.st_atim, status.st_mtim};
    if (record) writeRecord(target_, copy.get(), *record);
    if (::futimens(copy.get(), times) != 0 || ::fchmod(copy.get(), 0400) != 0 ||
        ::fsync(copy.get()) != 0) {
      return errno;
    }
    return target_.held->rename(coming, *target_.held, place, Folder::Existing::replace);
  }

  Done replaceCatalogue() {
    if (auto old = Database::open(target_.catalogueFile(), Database::Use::read)) {
      (*old)->emptyLog();
    }
    for (const char* part : {"-wal", "-shm"}) {
      target_.held->removeFile(std::string(LibraryFolder::kCatalogue) + part);
      target_.held->removeFile(std::string(kUnfinishedCopy) + part);
    }
    const FileDescriptor file = target_.held->openFile(kUnfinishedCopy, O_RDWR);
    if (!file || ::fsync(file.get()) != 0) return cannot(errno);
    const int error = target_.held->rename(kUnfinishedCopy, *target_.held,
                                           LibraryFolder::kCatalogue, Folder::Existing::replace);
    if (error != 0) return cannot(error);
    return syncFolder(target_, "");
  }

  void removeStrays() {
    for (const std::string& path : filesBelow(target_, LibraryFolder::kOriginals)) {
      if (resourcePathIsOurs(path) && !named_.contains(path)) removeOriginal(target_, path);
    }
  }

  Catalogue& source_;
  LibraryFolder target_;
  const BackupOptions& options_;
  std::string identity_;
  std::optional<LibraryLock> presence_;
  std::set<std::string> named_;    ///< paths of originals
  std::set<std::string> folders_;  ///< to be made durable
  BackupReport report_;
};

}  // namespace

Result<BackupReport> backUpLibrary(const std::string& path, const std::string& target,
                                   const BackupOptions& options) {
  auto source = openCatalogue(path, MissingLibrary::refuse);
  if (!source) return source.error();
  auto folder = libraryFolderAt(target);
  if (!folder) return folder.error();
  return Backup(**source, *std::move(folder), options).run();
}

}  // namespace quorvin
