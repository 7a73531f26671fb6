#include "platform_linux/library/previews/preview_store.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace quorvin {
namespace {

std::string fileName(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

constexpr const char* kFile = "derivatives/previews.sqlite";
constexpr const char* kLog = "derivatives/previews.sqlite-wal";
constexpr const char* kLogIndex = "derivatives/previews.sqlite-shm";
constexpr int kCache = 2000;  // kB
// As many names at a time as nobody else waits for long.
constexpr std::int64_t kNamesAtOnce = 1000;

// A preview takes a dozen pages of this size.
constexpr const char* kNewFile =
    "PRAGMA page_size=8192; PRAGMA auto_vacuum=INCREMENTAL; PRAGMA journal_mode=WAL;";
constexpr const char* kPreviews =
    "CREATE TABLE previews(id INTEGER PRIMARY KEY, original TEXT NOT NULL, side INTEGER NOT NULL,"
    " size INTEGER NOT NULL, modified_ns INTEGER NOT NULL, width INTEGER NOT NULL,"
    " height INTEGER NOT NULL, jpeg BLOB, UNIQUE (original, side))";
constexpr const char* kImpossible =
    "CREATE INDEX impossible ON previews(original) WHERE jpeg IS NULL";
constexpr const char* kProgress = "CREATE TABLE progress(asset INTEGER NOT NULL)";
constexpr std::int64_t kApplication = 0x51767256;  // "QvrV"
constexpr std::int64_t kVersion = 1;

// Whoever fills the folder of a library may plant tables with triggers.
bool isOurs(Database& database) {
  if (database.integer("PRAGMA application_id") != kApplication ||
      database.integer("PRAGMA user_version") != kVersion) {
    return false;
  }
  Statement rows = database.prepare(
      "SELECT sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY name COLLATE BINARY");
  for (const char* const sql : {kImpossible, kPreviews, kProgress}) {
    if (!rows.next() || rows.text(0) != sql) return false;
  }
  return !rows.next() && !rows.failed();
}

bool makeTables(Database& database) {
  return database.execute("BEGIN IMMEDIATE") && database.execute(kPreviews) &&
         database.execute(kImpossible) && database.execute(kProgress) &&
         database.execute("PRAGMA application_id=" + std::to_string(kApplication) +
                          "; PRAGMA user_version=" + std::to_string(kVersion) + "; COMMIT");
}

// A power cut may cost the newest of them, which is less than flushing each.
bool tune(Database& database) {
  database.setCache(kCache);
  return database.execute("PRAGMA synchronous=NORMAL");
}

}  // namespace

std::optional<OriginalState> OriginalState::of(const std::string& path,
                                               const FileDescriptor& file) {
  struct stat status = {};
  if (::fstat(file.get(), &status) != 0) return std::nullopt;
  constexpr std::int64_t kNanoseconds = 1'000'000'000;
  return OriginalState{fileName(path), status.st_size,
                       status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec};
}

PreviewStore::~PreviewStore() {
  NSLockHolder holder(writerLock_);
  if (writer_.database != nullptr) writer_.database->emptyLog(std::chrono::milliseconds(0));
}

std::string PreviewStore::path() const {
  std::string root = folder_.catalogueFile();
  return root.erase(root.find_last_of('/') + 1) + kFile;
}

bool PreviewStore::isOpen(const Connection& connection) const {
  struct stat status = {};
  return connection.database != nullptr && folder_.held->status(kFile, status) == 0 &&
         status.st_dev == connection.device && status.st_ino == connection.file;
}

bool PreviewStore::note(Connection& connection) const {
  struct stat status = {};
  if (folder_.held->status(kFile, status) != 0 || !S_ISREG(status.st_mode)) return false;
  connection.device = status.st_dev;
  connection.file = status.st_ino;
  return true;
}

void PreviewStore::removeFile() const {
  for (const char* const part : {kFile, kLog, kLogIndex}) {
    if (folder_.held->removeFile(part) != 0) folder_.held->removeTree(part);
  }
}

Database* PreviewStore::reader() {
  if (isOpen(reader_) && !reader_.database->hasMetDamage()) return reader_.database.get();
  reader_.database.reset();
  if (!note(reader_)) return nullptr;
  // Nothing is made beside a library that can only be read.
  auto opened =
      Database::open(path(), folder_.refusal ? Database::Use::readOnly : Database::Use::read);
  if (!opened || !isOurs(**opened) || !tune(**opened)) return nullptr;
  reader_.database = *std::move(opened);
  return reader_.database.get();
}

Done PreviewStore::openWriter() {
  if (folder_.refusal) return *folder_.refusal;
  if (isOpen(writer_) && !writer_.database->hasMetDamage()) return Null{};
  for (const bool isLastTry : {false, true}) {
    writer_.database.reset();
    // SQLite would let others read it.
    if (folder_.held->openFile(kFile, O_RDWR | O_CREAT | O_EXCL, 0600)) {
      folder_.held->setMode(kFile, 0600);
    }
    auto opened = note(writer_) ? Database::open(path(), Database::Use::write)
                                : Result<std::unique_ptr<Database>>(needsRescue(path()));
    if (!opened && !opened.error().isOfCatalogue) return opened.error();
    if (opened) {
      Database& database = **opened;
      const bool isNew = database.integer("SELECT count(*) FROM sqlite_schema") == 0;
      if (isNew && !(database.execute(kNewFile) && makeTables(database))) {
        return database.lastError("the previews cannot be stored");
      }
      if (isOurs(database) && tune(database)) {
        writer_.database = *std::move(opened);
        return Null{};
      }
    }
    if (!isLastTry) removeFile();
  }
  return Failure(LibraryErrorCode::internal, "the previews cannot be stored.");
}

Done PreviewStore::change(const std::function<bool(Database&)>& body) {
  NSLockHolder holder(writerLock_);
  if (auto opened = openWriter(); !opened) return opened;
  Database& database = *writer_.database;
  if (database.execute("BEGIN IMMEDIATE") && body(database) && database.execute("COMMIT")) {
    return Null{};
  }
  const Failure failure = database.lastError("the previews cannot be stored");
  database.execute("ROLLBACK");
  if (!failure.isOfCatalogue) return failure;
  writer_.database.reset();
  removeFile();
  return Failure(LibraryErrorCode::internal, "the previews were damaged; they are made anew.");
}

std::optional<Preview> PreviewStore::find(const OriginalState& original, const PreviewSide& side) {
  NSLockHolder holder(readerLock_);
  Database* database = reader();
  if (database == nullptr) return std::nullopt;
  Statement find = database->prepare(
      "SELECT width, height, jpeg FROM previews WHERE original = ? AND side = ? AND size = ?"
      " AND modified_ns = ? AND jpeg IS NOT NULL");
  find.bind(original.name, side.pixels, original.bytes, original.modified);
  if (!find.next()) return std::nullopt;
  const std::string_view stored = find.blob(2);
  std::uint8_t* bytes = nullptr;
  auto jpeg = ByteBuffer::allocate(stored.size(), bytes);
  if (!jpeg || stored.empty()) return std::nullopt;
  std::ranges::copy(stored, bytes);
  return Preview{{find.integer(0), find.integer(1)}, *std::move(jpeg)};
}

bool PreviewStore::isDone(const OriginalState& original, const PreviewSide& side) {
  NSLockHolder holder(readerLock_);
  Database* database = reader();
  if (database == nullptr) return false;
  Statement find = database->prepare(
      "SELECT 1 FROM previews WHERE original = ? AND side = ? AND size = ? AND modified_ns = ?");
  return find.bind(original.name, side.pixels, original.bytes, original.modified).next();
}

Done PreviewStore::keep(const OriginalState& original, std::span<const Made> made) {
  return change([&](Database& database) {
    return std::ranges::all_of(made, [&](const Made& each) {
      Statement store = database.prepare(
          "INSERT OR REPLACE INTO previews(original, side, size, modified_ns, width, height, jpeg)"
          " VALUES (?, ?, ?, ?, ?, ?, ?)");
      store.bind(original.name, each.side.pixels, original.bytes, original.modified,
                 each.picture.width, each.picture.height);
      if (!each.jpeg) return store.bind(std::nullopt).run();
      const auto* bytes = reinterpret_cast<const char*>(each.jpeg->data());
      return store.bind(Blob{{bytes, each.jpeg->size()}}).run();
    });
  });
}

void PreviewStore::remove(std::span<const std::string> uuids) {
  struct stat status = {};
  if (folder_.held->status(kFile, status) != 0) return;
  change([&](Database& database) {
    return std::ranges::all_of(uuids, [&](const std::string& uuid) {
      Statement remove =
          database.prepare("DELETE FROM previews WHERE original >= ? AND original < ?");
      // Behind the UUID stands a "." or a "-", and never this.
      return uuid.empty() || remove.bind(uuid, uuid + "~").run();
    });
  });
  NSLockHolder holder(writerLock_);
  if (writer_.database != nullptr) writer_.database->execute("PRAGMA incremental_vacuum");
}

void PreviewStore::forEachOriginal(const std::function<void(const std::string& name)>& call) {
  std::string last;
  for (;;) {
    std::vector<std::string> names;
    {
      NSLockHolder holder(readerLock_);
      Database* database = reader();
      if (database == nullptr) return;
      Statement rows = database->prepare(
          "SELECT DISTINCT original FROM previews WHERE original > ? ORDER BY original LIMIT ?");
      rows.bind(last, kNamesAtOnce);
      while (rows.next()) names.emplace_back(rows.text(0));
    }
    if (names.empty()) return;
    for (const std::string& name : names) call(name);
    last = names.back();
  }
}

PreviewTotals PreviewStore::totals(const std::vector<std::string>& hidden) {
  NSLockHolder holder(readerLock_);
  Database* database = reader();
  if (database == nullptr) return {};
  const auto number = [&](std::string_view sql) { return database->integer(sql).value_or(0); };
  PreviewTotals totals;
  totals.impossible = number("SELECT count(DISTINCT original) FROM previews WHERE jpeg IS NULL");
  totals.pictures = number("SELECT count(DISTINCT original) FROM previews") - totals.impossible;
  for (const std::string& each : hidden) {
    Statement find =
        database->prepare("SELECT jpeg IS NULL FROM previews WHERE original = ? LIMIT 1");
    if (find.bind(fileName(each)).next()) {
      --(find.integer(0) != 0 ? totals.impossible : totals.pictures);
    }
  }
  totals.bytes =
      (number("PRAGMA page_count") - number("PRAGMA freelist_count")) * number("PRAGMA page_size");
  return totals;
}

std::int64_t PreviewStore::doneUpTo() {
  NSLockHolder holder(readerLock_);
  Database* database = reader();
  if (database == nullptr) return 0;
  return database->integer("SELECT asset FROM progress").value_or(0);
}

void PreviewStore::setDoneUpTo(std::int64_t asset) {
  change([&](Database& database) {
    return database.prepare("DELETE FROM progress").run() &&
           database.prepare("INSERT INTO progress VALUES (?)").bind(asset).run();
  });
}

}  // namespace quorvin
