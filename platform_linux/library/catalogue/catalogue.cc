#include "platform_linux/library/catalogue/catalogue.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform_linux/errors/errors.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/upkeep/trash.h"

namespace quorvin {
namespace {

constexpr std::size_t kIdleConnections = 8;

// The write-ahead log is emptied by whoever closes a library last. What it still holds when nobody
// has the library open was left by a stop in the middle.
bool stoppedUncleanly(const LibraryFolder& folder) {
  std::error_code error;
  const auto size = std::filesystem::file_size(folder.catalogue() + "-wal", error);
  return !error && size > 0;
}

Result<Null> checkIntegrity(Database& database, const LibraryFolder& folder) {
  Statement check = database.prepare("PRAGMA quick_check(1)");
  if (check.next() && check.text(0) == "ok") return Null{};
  return libraryError(LibraryErrorCode::internal,
                      "The catalogue “" + folder.catalogue() + "” is damaged.");
}

Result<Null> setUp(const LibraryFolder& folder, PHAuthorizationStatus status) {
  auto lock = LibraryLock::acquire(folder.lockFile(), LibraryLock::Area::writer,
                                   LibraryLock::Mode::exclusive);
  if (!lock) return lock.error();
  auto database = Database::open(folder.catalogue(), Database::Use::write);
  if (!database) return database.error();
  // Somebody else may have set it up meanwhile.
  const auto state = catalogueState(**database);
  if (!state) return state.error();
  if (*state == CatalogueState::current) return Null{};
  if (const auto done = migrate(**database); !done) return done.error();
  if (*state == CatalogueState::empty) {
    Statement store = (*database)->prepare("UPDATE meta SET value = ? WHERE key = 'authorization'");
    if (!store.bind(static_cast<std::int64_t>(status)).run()) {
      return (*database)->lastError("The library's authorisation cannot be stored");
    }
  }
  (*database)->execute("PRAGMA wal_checkpoint(TRUNCATE)");
  return syncFolder(folder.root);
}

}  // namespace

const CollectionRow* Overview::find(std::string_view identifier) const {
  const auto found = byIdentifier.find(identifier);
  return found == byIdentifier.end() ? nullptr : &collections[found->second];
}

Result<std::shared_ptr<Catalogue>> Catalogue::open(const std::string& path, Missing missing,
                                                   PHAuthorizationStatus statusWhenMade) {
  auto folder = libraryFolderAt(path);
  if (!folder) return folder.error();
  const auto state = folderState(*folder);
  if (!state) return state.error();
  if (missing == Missing::refuse && *state != FolderState::catalogue) {
    return libraryError(LibraryErrorCode::missingResource,
                        "There is no photo library at “" + folder->root + "”.");
  }
  if (*state == FolderState::catalogue) {
    // Before anything is made beside it: is it one of ours, and one that can be read?
    auto database = Database::open(folder->catalogue(), Database::Use::read);
    if (!database) return database.error();
    const auto known = catalogueState(**database);
    if (!known) return known.error();
    const std::string named = "The catalogue “" + folder->catalogue() + "” ";
    if (*known == CatalogueState::newer) {
      return libraryError(LibraryErrorCode::invalidResource,
                          named + "was made by a later version of this program.");
    }
    if (*known == CatalogueState::foreign) {
      return libraryError(LibraryErrorCode::invalidResource,
                          named + "is a database of something else.");
    }
  }
  if (const auto made = makeFolders(*folder); !made) return made.error();
  auto presence = LibraryLock::tryAcquire(folder->lockFile(), LibraryLock::Area::presence,
                                          LibraryLock::Mode::exclusive);
  const bool alone = presence.has_value();
  if (!alone) {
    auto shared = LibraryLock::acquire(folder->lockFile(), LibraryLock::Area::presence,
                                       LibraryLock::Mode::shared);
    if (!shared) return shared.error();
    presence = *std::move(shared);
  }
  if (auto ready = prepare(*folder, alone, statusWhenMade); !ready) return ready.error();
  presence->tryChange(LibraryLock::Mode::shared);
  std::shared_ptr<Catalogue> catalogue(new Catalogue(*std::move(folder), *std::move(presence)));
  purgeTrash(*catalogue);
  return catalogue;
}

Result<Null> Catalogue::prepare(const LibraryFolder& folder, bool alone,
                                PHAuthorizationStatus statusWhenMade) {
  bool current = false;
  if (auto database = Database::open(folder.catalogue(), Database::Use::read)) {
    if (alone && stoppedUncleanly(folder)) {
      if (auto sound = checkIntegrity(**database, folder); !sound) return sound.error();
    }
    const auto state = catalogueState(**database);
    current = state && *state == CatalogueState::current;
  }
  if (!current) {
    if (auto done = setUp(folder, statusWhenMade); !done) return done.error();
  }
  sweepStaging(folder);
  return Null{};
}

Catalogue::Catalogue(LibraryFolder folder, LibraryLock presence)
    : folder_(std::move(folder)), presence_(std::move(presence)) {}

Catalogue::~Catalogue() {
  closeCleanly();
}

void Catalogue::closeCleanly() {
  {
    NSLockHolder holder(poolLock_);
    idle_.clear();
  }
  {
    NSLockHolder holder(watchLock_);
    watch_.reset();
  }
  NSLockHolder holder(writerLock_);
  writer_.reset();
  if (!presence_.tryChange(LibraryLock::Mode::exclusive)) return;
  const auto lock = LibraryLock::tryAcquire(folder_.lockFile(), LibraryLock::Area::writer,
                                            LibraryLock::Mode::exclusive);
  if (!lock) return;
  if (auto database = Database::open(folder_.catalogue(), Database::Use::read)) {
    (*database)->execute("PRAGMA wal_checkpoint(TRUNCATE)");
  }
}

std::unique_ptr<Database> Catalogue::borrow() {
  {
    NSLockHolder holder(poolLock_);
    if (!idle_.empty()) {
      auto database = std::move(idle_.back());
      idle_.pop_back();
      return database;
    }
  }
  auto opened = Database::open(folder_.catalogue(), Database::Use::read);
  return opened ? *std::move(opened) : nullptr;
}

void Catalogue::giveBack(std::unique_ptr<Database> database) {
  if (database == nullptr) return;
  NSLockHolder holder(poolLock_);
  if (idle_.size() < kIdleConnections) idle_.push_back(std::move(database));
}

std::int64_t Catalogue::currentVersion() {
  if (watch_ == nullptr) {
    auto opened = Database::open(folder_.catalogue(), Database::Use::read);
    if (!opened) return 0;
    watch_ = *std::move(opened);
  }
  return watch_->integer("PRAGMA data_version").value_or(0);
}

std::shared_ptr<const Overview> Catalogue::overview() {
  std::int64_t version = 0;
  {
    NSLockHolder holder(watchLock_);
    version = currentVersion();
    if (overview_ != nullptr && overview_->version == version && version != 0) return overview_;
  }
  auto fresh = readOverview(version);
  NSLockHolder holder(watchLock_);
  if (overview_ == nullptr || overview_->version < version) overview_ = fresh;
  return fresh;
}

std::shared_ptr<const Overview> Catalogue::readOverview(std::int64_t version) {
  auto overview = std::make_shared<Overview>();
  overview->version = version;
  Reader database = reader();
  if (!database) return overview;
  const ReadTransaction moment(*database);
  const auto status =
      database->integer("SELECT value FROM meta WHERE key = 'authorization'").value_or(0);
  if (status >= 0 && status <= 4) overview->status = static_cast<PHAuthorizationStatus>(status);
  Statement rows = database->prepare(
      "SELECT id, ident, type, subtype, title FROM collections ORDER BY type, pos, id");
  while (rows.next()) {
    overview->collections.push_back(
        {rows.integer(0),
         std::make_shared<const PHAssetCollection>(PHAssetCollection{
             .localIdentifier = std::string(rows.text(1)),
             .assetCollectionType = static_cast<PHAssetCollectionType>(rows.integer(2)),
             .assetCollectionSubtype = rows.integer(3),
             .localizedTitle = rows.optionalText(4)})});
  }
  for (std::size_t i = 0; i < overview->collections.size(); ++i) {
    overview->byIdentifier.emplace(overview->collections[i].collection->localIdentifier, i);
  }
  return overview;
}

Result<Null> Catalogue::change(const std::function<Result<Null>(Database&)>& body,
                               bool* isUncertain) {
  NSLockHolder holder(writerLock_);
  const auto lock = LibraryLock::acquire(folder_.lockFile(), LibraryLock::Area::writer,
                                         LibraryLock::Mode::exclusive);
  if (!lock) return lock.error();
  if (writer_ == nullptr) {
    auto opened = Database::open(folder_.catalogue(), Database::Use::write);
    if (!opened) return opened.error();
    writer_ = *std::move(opened);
  }
  const std::string failure = "The change cannot be stored";
  if (!writer_->prepare("BEGIN IMMEDIATE").run()) return writer_->lastError(failure);
  auto outcome = body(*writer_);
  if (!outcome) {
    writer_->execute("ROLLBACK");
    return outcome;
  }
  if (writer_->prepare("COMMIT").run()) return outcome;
  const NSError error = writer_->lastError(failure);
  writer_->execute("ROLLBACK");
  const bool isSettled = writer_->settleLog();
  if (isUncertain != nullptr) *isUncertain = !isSettled;
  return error;
}

}  // namespace quorvin
