// The version of the catalogue is the number by which SQLite tells a connection that somebody else
// committed. One connection, which never writes, is kept for asking; its number rises with each
// commit of this and of other processes. What is read later than the number may be newer than it
// says, never older, so what is kept under a number is at worst read once more.
#include "platform_linux/library/catalogue/catalogue.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/journal.h"
#include "platform_linux/library/catalogue/schema.h"

namespace quorvin {
namespace {

constexpr std::size_t kIdleConnections = 8;
// For a connection, where the process cannot open another.
constexpr std::chrono::seconds kPatienceForConnection{10};
// On a full disk, while nobody else writes: a listing is read in less.
constexpr std::chrono::milliseconds kPatienceWithReaders{500};

// The first read of a connection opens the log as well.
Result<std::unique_ptr<Database>> readOnce(Result<std::unique_ptr<Database>> opened) {
  if (opened && !(*opened)->integer("PRAGMA user_version")) return unreadable(**opened);
  return opened;
}

// By how many bytes the catalogue's file grows when the log is brought into it.
std::int64_t growthByLog(Database& database, const LibraryFolder& folder) {
  struct stat file = {};
  folder.held->status(LibraryFolder::kCatalogue, file);
  const auto pages = database.integer("PRAGMA page_count").value_or(0);
  return std::max<std::int64_t>(
      0, pages * database.integer("PRAGMA page_size").value_or(0) - file.st_size);
}

}  // namespace

Failure unreadable(const Database& database) {
  return database.lastError("the catalogue cannot be read");
}

bool writeStatus(Database& database, PHAuthorizationStatus status) {
  Statement store = database.prepare("UPDATE meta SET value = ? WHERE key = 'authorization'");
  return store.bind(static_cast<std::int64_t>(status)).run();
}

std::string identityOf(Database& database) {
  // The identifier of the first smart album: random, and made with the library.
  Statement first =
      database.prepare("SELECT ident FROM collections WHERE type = 2 ORDER BY pos, id LIMIT 1");
  return first.next() ? std::string(first.text(0)) : std::string();
}

bool markAsBackup(Database& database) {
  const auto last = lastJournalEntry(database);
  Statement mark = database.prepare("INSERT OR REPLACE INTO meta(key, value) VALUES ('backup', ?)");
  return last && mark.bind(*last).run();
}

bool isUnchangedBackup(Database& database) {
  // That the term of deleted assets has ended there as well is no change of anybody's.
  Statement unchanged = database.prepare(
      "SELECT 1 FROM meta WHERE key = 'backup' AND value <= (SELECT coalesce(max(id), 0) FROM"
      " journal) AND NOT EXISTS (SELECT 1 FROM journal WHERE id > value AND kind <> ?)");
  return unchanged.bind(static_cast<std::int64_t>(JournalKind::assetDropped)).next();
}

const CollectionRow* Overview::find(std::string_view identifier) const {
  const auto found = byIdentifier.find(identifier);
  return found == byIdentifier.end() ? nullptr : &collections[found->second];
}

Catalogue::Catalogue(LibraryFolder folder, LibraryLock presence,
                     std::unique_ptr<CommitListener> listener, ReadAccess access)
    : folder_(std::move(folder)),
      access_(std::move(access)),
      presence_(std::move(presence)),
      listener_(std::move(listener)) {}

Catalogue::Reader::Reader(Catalogue& owner, Result<std::unique_ptr<Database>> database)
    : owner_(owner) {
  if (database) {
    database_ = *std::move(database);
  } else {
    error_ = database.error();
  }
}

Catalogue::~Catalogue() {
  closing_.request_stop();
  if (beside_.joinable()) beside_.join();
  closeCleanly();
}

void Catalogue::closeCleanly() {
  listener_.reset();
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
  if (!trust_ || !presence_.tryChange(LibraryLock::Mode::exclusive)) return;
  const auto lock =
      LibraryLock::tryAcquire(folder_, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  if (!lock) return;
  const auto database = Database::open(folder_.catalogueFile(), Database::Use::read);
  if (database && requirePresentVersion(**database, folder_)) {
    (*database)->emptyLog();
    folder_.reserve().keep();
  }
}

Result<std::unique_ptr<Database>> Catalogue::borrow() {
  const auto limit = std::chrono::steady_clock::now() + kPatienceForConnection;
  for (;;) {
    {
      NSLockHolder holder(poolLock_);
      if (!idle_.empty()) {
        auto database = std::move(idle_.back());
        idle_.pop_back();
        ++lent_;
        return database;
      }
    }
    auto opened = readOnce(connect());
    NSLockHolder holder(poolLock_);
    if (opened) ++lent_;
    // Where the process has no descriptor, another's connection does as well, once it is free.
    if (opened || !opened.error().isOfDescriptors) return opened;
    if (idle_.empty() && (lent_ == 0 || !givenBack_.waitUntil(poolLock_, limit))) return opened;
  }
}

void Catalogue::giveBack(std::unique_ptr<Database> database) {
  if (database == nullptr) return;
  // One that met damage would go on to say so after a repair.
  if (database->hasMetDamage()) database.reset();
  {
    NSLockHolder holder(poolLock_);
    --lent_;
    if (database != nullptr && idle_.size() < kIdleConnections) {
      idle_.push_back(std::move(database));
    }
  }
  givenBack_.broadcast();
}

Done Catalogue::holdDescriptors() {
  // Asks the connection that watches, and reads by one of the pool.
  if (const auto read = overview(); !read) return read.error();
  if (folder_.refusal) return Null{};
  NSLockHolder holder(writerLock_);
  sparesLock_ = true;
  spareLock_ = LibraryLock::spare(folder_);
  return connectWriter();
}

Done Catalogue::connectWriter() {
  if (writer_ != nullptr) return Null{};
  auto opened = readOnce(Database::open(folder_.catalogueFile(), Database::Use::write));
  if (!opened) return opened.error();
  writer_ = *std::move(opened);
  return Null{};
}

Result<std::int64_t> Catalogue::currentVersion() {
  if (watch_ == nullptr) {
    auto opened = readOnce(connect());
    if (!opened) return opened.error();
    watch_ = *std::move(opened);
  }
  const auto version = watch_->integer("PRAGMA data_version");
  return version ? Result<std::int64_t>(*version) : unreadable(*watch_);
}

Result<std::shared_ptr<const Overview>> Catalogue::overview() {
  std::int64_t version = 0;
  {
    NSLockHolder holder(watchLock_);
    const auto current = currentVersion();
    if (!current) return current.error();
    version = *current;
    if (overview_ != nullptr && overview_->version == version) return overview_;
  }
  auto fresh = readOverview(version);
  if (!fresh) return fresh;
  NSLockHolder holder(watchLock_);
  if (overview_ == nullptr || overview_->version < version) overview_ = *fresh;
  return fresh;
}

Result<std::shared_ptr<const Overview>> Catalogue::readOverview(std::int64_t version) {
  auto overview = std::make_shared<Overview>();
  overview->version = version;
  Reader database = reader();
  if (!database) return database.error();
  const ReadTransaction moment(*database);
  const auto status = database->integer("SELECT value FROM meta WHERE key = 'authorization'");
  if (!status) return unreadable(*database);
  if (*status >= 0 && *status <= static_cast<std::int64_t>(PHAuthorizationStatus::limited)) {
    overview->status = static_cast<PHAuthorizationStatus>(*status);
  }
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
  if (rows.failed()) return unreadable(*database);
  for (std::size_t i = 0; i < overview->collections.size(); ++i) {
    overview->byIdentifier.emplace(overview->collections[i].collection->localIdentifier, i);
  }
  return std::shared_ptr<const Overview>(std::move(overview));
}

Done Catalogue::change(const std::function<Done(Database&)>& body, Room room, bool* isUncertain) {
  NSLockHolder holder(writerLock_);
  Done done = changeAlone(body, room, isUncertain);
  if (sparesLock_ && !spareLock_) spareLock_ = LibraryLock::spare(folder_);
  return done;
}

Done Catalogue::changeAlone(const std::function<Done(Database&)>& body, Room room,
                            bool* isUncertain) {
  const auto lock = LibraryLock::acquire(folder_, LibraryLock::Area::writer,
                                         LibraryLock::Mode::exclusive, &spareLock_);
  if (!lock) return lock.error();
  if (refusal_) return *refusal_;
  if (!lock->isOfSameFile(presence_)) {
    return Failure(LibraryErrorCode::operationInterrupted,
                   "the lock “" + folder_.lockFile() +
                       "” was removed or replaced while the library was open.");
  }
  if (Done connected = connectWriter(); !connected) return connected;
  bool isSettled = true;
  Done done = storeInRoom(body, room, isSettled);
  if (isUncertain != nullptr) *isUncertain = !isSettled;
  if (done && listener_ != nullptr) listener_->committed();
  return done;
}

void Catalogue::trust() {
  auto lock = LibraryLock::acquire(folder_, LibraryLock::Area::trust, LibraryLock::Mode::shared);
  NSLockHolder holder(writerLock_);
  // Without the lock those who open it meanwhile look for themselves.
  if (lock) trust_ = *std::move(lock);
}

bool Catalogue::isTrusted() {
  NSLockHolder holder(writerLock_);
  return trust_.has_value();
}

Done Catalogue::storeInRoom(const std::function<Done(Database&)>& body, Room room,
                            bool& isSettled) {
  Done done = store(body, isSettled);
  if (done) folder_.reserve().keep();
  if (done || !done.error().is(LibraryErrorCode::notEnoughSpace) || writer_ == nullptr) return done;
  writer_->setCheckpointing(false);
  isSettled = freeLog(isSettled);
  if (isSettled && room == Room::reserve) {
    folder_.reserve().giveUp(SpaceReserve::Part::most);
    done = store(body, isSettled);
    isSettled = freeLog(isSettled);
  }
  if (writer_ != nullptr) writer_->setCheckpointing(true);
  return done;
}

bool Catalogue::freeLog(bool isSettled) {
  folder_.reserve().giveUp();
  if (writer_ != nullptr) {
    isSettled = isSettled || writer_->settleLog();
    // What the file took up without being able to grow as far as it must would be lost.
    if (growthByLog(*writer_, folder_) <= folder_.reserve().freeBytes()) {
      writer_->emptyLog(kPatienceWithReaders);
    }
  }
  folder_.reserve().keep();
  return isSettled;
}

void Catalogue::keepReserve() {
  NSLockHolder holder(writerLock_);
  if (folder_.reserve().isWhole()) return;
  const auto lock =
      LibraryLock::tryAcquire(folder_, LibraryLock::Area::writer, LibraryLock::Mode::exclusive);
  if (lock) folder_.reserve().keep();
}

void Catalogue::runBeside(std::function<void(Catalogue&, const std::stop_token&)> work) {
  beside_ = startThread("quorvin-care", [this, work = std::move(work)] {
    lowerPriority();
    work(*this, closing_.get_token());
  });
}

void Catalogue::finishBeside() {
  if (beside_.joinable()) beside_.join();
}

void Catalogue::refuseChanges(const Failure& why) {
  NSLockHolder holder(writerLock_);
  refusal_ = why;
}

Done Catalogue::store(const std::function<Done(Database&)>& body, bool& isSettled) {
  const std::string failure = "the change cannot be stored";
  if (!writer_->prepare("BEGIN IMMEDIATE").run()) return writer_->lastError(failure);
  Done outcome = requirePresentVersion(*writer_, folder_);
  if (outcome) outcome = body(*writer_);
  if (writer_->hasMetDamage()) outcome = needsRescue(folder_.catalogue());
  if (!outcome) {
    writer_->execute("ROLLBACK");
    // The next change looks anew.
    if (writer_->hasMetDamage()) writer_.reset();
    return outcome;
  }
  if (trimJournal(*writer_) && writer_->prepare("COMMIT").run()) return outcome;
  const Failure error = writer_->lastError(failure);
  writer_->execute("ROLLBACK");
  isSettled = writer_->settleLog();
  return error;
}

}  // namespace quorvin
