// SQLite tells a connection by a number that somebody else committed since it last looked. Each
// connection for reading keeps the number with what it read of galleries then; so to begin a moment
// and to see whether anything is new is one and the same.
#include "platform_linux/library/catalogue/catalogue.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/journal.h"
#include "platform_linux/library/catalogue/schema.h"
#include "platform_linux/library/places/place_counts.h"

namespace quorvin {
namespace {

// So many threads read where the process has no descriptor for more connections.
constexpr std::size_t kReadersHeld = 2;
// What a change of many rows goes over more than once is not read anew each time.
constexpr int kCacheInChange = 128'000;
// Who asks for more galleries of one state may as well read them all.
constexpr std::size_t kFoundAlone = 4;
// On a full disk, while nobody else writes: a listing is read in less.
constexpr std::chrono::milliseconds kPatienceWithReaders{500};

// By how many bytes the catalogue's file grows when the log is brought into it.
std::int64_t growthByLog(Database& database, const LibraryFolder& folder) {
  struct stat file = {};
  folder.held->status(LibraryFolder::kCatalogue, file);
  const auto pages = database.integer("PRAGMA page_count").value_or(0);
  return std::max<std::int64_t>(
      0, pages * database.integer("PRAGMA page_size").value_or(0) - file.st_size);
}

}  // namespace

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

Catalogue::Catalogue(LibraryFolder folder, LibraryLock presence,
                     std::unique_ptr<CommitListener> listener, ReadAccess access)
    : folder_(std::move(folder)),
      access_(std::move(access)),
      presence_(std::move(presence)),
      listener_(std::move(listener)) {}

Catalogue::Reader::Reader(Catalogue& owner) : owner_(owner) {
  auto connection = owner.readers_.borrow();
  if (connection) {
    connection_ = *std::move(connection);
  } else {
    error_ = connection.error();
  }
}

Catalogue::Moment::~Moment() {
  if (connection_.database != nullptr) connection_.database->prepare("COMMIT").run();
  owner_.readers_.giveBack(std::move(connection_));
}

Catalogue::~Catalogue() {
  closing_.request_stop();
  if (beside_.joinable()) beside_.join();
  closeCleanly();
}

void Catalogue::closeCleanly() {
  listener_.reset();
  readers_.close();
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

Done Catalogue::holdDescriptors() {
  if (Done held = readers_.hold(kReadersHeld); !held) return held;
  if (folder_.refusal) return Null{};
  NSLockHolder holder(writerLock_);
  sparesLock_ = true;
  spareLock_ = LibraryLock::spare(folder_);
  return connectWriter();
}

Done Catalogue::connectWriter() {
  if (writer_ != nullptr) return Null{};
  auto opened = Database::open(folder_.catalogueFile(), Database::Use::write);
  if (!opened) return opened.error();
  // The first read opens the log as well.
  if (!(*opened)->integer("PRAGMA user_version")) return unreadable(**opened);
  writer_ = *std::move(opened);
  return Null{};
}

Result<std::unique_ptr<Catalogue::Moment>> Catalogue::moment() {
  auto borrowed = readers_.borrow();
  if (!borrowed) return borrowed.error();
  auto moment = std::make_unique<Moment>(*this, *std::move(borrowed));
  ReadConnection& connection = moment->connection_;
  connection.database->prepare("BEGIN").run();
  const auto version = connection.database->integer("PRAGMA data_version");
  if (!version) return unreadable(*connection.database);
  if (connection.version == *version) return moment;
  connection.overview.reset();
  connection.found.clear();
  connection.version = 0;
  const auto status = readStatus(*connection.database);
  if (!status) return status.error();
  connection.status = *status;
  connection.version = *version;
  return moment;
}

Result<std::shared_ptr<const Overview>> Catalogue::Moment::overview() {
  if (connection_.overview != nullptr) return connection_.overview;
  auto read = readOverview(*connection_.database);
  if (!read) return read;
  connection_.found.clear();
  return connection_.overview = *std::move(read);
}

Result<std::shared_ptr<const CollectionRow>> Catalogue::Moment::find(
    const std::string& identifier) {
  for (const auto& row : connection_.found) {
    if (row->collection->localIdentifier == identifier) return row;
  }
  if (connection_.overview == nullptr && connection_.found.size() < kFoundAlone) {
    auto read = readCollection(*connection_.database, identifier);
    if (read && *read != nullptr) connection_.found.push_back(*read);
    return read;
  }
  auto all = overview();
  if (!all) return all.error();
  return std::shared_ptr<const CollectionRow>(*all, (*all)->find(identifier));
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
  if (const auto further = furtherListener_.lock(); done && further) further->committed();
  return done;
}

void Catalogue::tell(std::weak_ptr<CommitListener> listener) {
  NSLockHolder holder(writerLock_);
  furtherListener_ = std::move(listener);
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
      readers_.letGo({});
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
  writer_->setCache(kCacheInChange);
  Done outcome = transact(body, isSettled);
  if (writer_ != nullptr) writer_->setCache(Database::kUsualCache);
  return outcome;
}

Done Catalogue::transact(const std::function<Done(Database&)>& body, bool& isSettled) {
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
  if (trimJournal(*writer_) && settleCounts(*writer_) && writer_->prepare("COMMIT").run()) {
    return outcome;
  }
  const Failure error = writer_->lastError(failure);
  writer_->execute("ROLLBACK");
  isSettled = writer_->settleLog();
  return error;
}

}  // namespace quorvin
