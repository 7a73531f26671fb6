#include "platform_linux/library/database/sqlite.h"

#include <sqlite3.h>

#include <cerrno>
#include <utility>

#include "codec/utf8.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"

namespace quorvin {
namespace {

constexpr int kPagesOfLog = 1000;
// A catalogue uses a few dozen texts; more come from unusual fetch options.
constexpr std::size_t kKeptStatements = 128;

// Such a connection tries to write neither the file nor what is beside it.
std::string uriOf(const std::string& path, std::string_view parameters) {
  std::string uri = "file:";
  for (const char c : path) {
    constexpr std::string_view kHexadecimal = "0123456789ABCDEF";
    const auto byte = static_cast<unsigned char>(c);
    if (c == '?' || c == '#' || c == '%') {
      ((uri += '%') += kHexadecimal[byte >> 4]) += kHexadecimal[byte & 15];
    } else {
      uri += c;
    }
  }
  return (uri += '?') += parameters;
}

bool meansDamage(int status) {
  const int code = status & 0xFF;
  return code == SQLITE_CORRUPT || code == SQLITE_NOTADB;
}

}  // namespace

Statement::Statement(sqlite3_stmt* statement, int status, bool& damageMet, bool* isLent)
    : statement_(statement), status_(status), damageMet_(&damageMet), isLent_(isLent) {
  if (isLent_ != nullptr) *isLent_ = true;
}

Statement::Statement(Statement&& other) noexcept
    : statement_(std::exchange(other.statement_, nullptr)),
      status_(other.status_),
      damageMet_(other.damageMet_),
      isLent_(std::exchange(other.isLent_, nullptr)),
      bound_(other.bound_) {}

Statement::~Statement() {
  rewind();
  if (isLent_ != nullptr) *isLent_ = false;
}

void Statement::rewind() {
  if (statement_ == nullptr) return;
  sqlite3_reset(statement_);
  if (bound_ > 0) sqlite3_clear_bindings(statement_);
  bound_ = 0;
  status_ = SQLITE_OK;
}

void Statement::note(int status) {
  if (status != SQLITE_OK && !failed()) status_ = status;
}

bool Statement::failed() const {
  return status_ != SQLITE_OK && status_ != SQLITE_ROW && status_ != SQLITE_DONE;
}

bool Statement::next() {
  if (failed()) return false;
  mended_.clear();
  status_ = sqlite3_step(statement_);
  if (failed() && meansDamage(status_)) *damageMet_ = true;
  return status_ == SQLITE_ROW;
}

void Statement::bindNext(std::int64_t value) {
  if (statement_ != nullptr) note(sqlite3_bind_int64(statement_, ++bound_, value));
}

void Statement::bindNext(double value) {
  if (statement_ != nullptr) note(sqlite3_bind_double(statement_, ++bound_, value));
}

void Statement::bindNext(std::string_view value) {
  if (statement_ == nullptr) return;
  // A null pointer would bind NULL.
  const char* data = value.data() == nullptr ? "" : value.data();
  note(sqlite3_bind_text64(statement_, ++bound_, data, value.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bindNext(Blob value) {
  if (statement_ == nullptr) return;
  const char* data = value.bytes.data() == nullptr ? "" : value.bytes.data();
  note(sqlite3_bind_blob64(statement_, ++bound_, data, value.bytes.size(), SQLITE_STATIC));
}

void Statement::bindNext(std::nullopt_t) {
  if (statement_ != nullptr) note(sqlite3_bind_null(statement_, ++bound_));
}

Statement& Statement::bindColumn(const Statement& row, int column) {
  if (statement_ == nullptr) return *this;
  note(sqlite3_bind_value(statement_, ++bound_, sqlite3_column_value(row.statement_, column)));
  return *this;
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

double Statement::real(int column) const {
  return sqlite3_column_double(statement_, column);
}

std::string_view Statement::text(int column) const {
  const auto* data = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
  if (data == nullptr) return {};
  const std::string_view stored(data,
                                static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)));
  return isUtf8(stored) ? stored : mended_.emplace_back(validUtf8(stored));
}

std::string_view Statement::blob(int column) const {
  const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_, column));
  if (data == nullptr) return {};
  return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

std::optional<std::int64_t> Statement::optionalInteger(int column) const {
  if (isNull(column)) return std::nullopt;
  return integer(column);
}

std::optional<std::string> Statement::optionalText(int column) const {
  if (isNull(column)) return std::nullopt;
  return std::string(text(column));
}

std::string Database::libraryVersion() {
  return sqlite3_libversion();
}

Result<std::unique_ptr<Database>> Database::open(const std::string& path, Use use) {
  sqlite3* connection = nullptr;
  // One thread at a time uses a connection, so it needs no lock of its own.
  int flags =
      SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_NOFOLLOW;
  std::string name = path;
  if (use == Use::snapshot || use == Use::readOnly) {
    flags |= SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    name = uriOf(path, use == Use::snapshot ? "immutable=1" : "readonly_shm=1");
  } else {
    flags |= SQLITE_OPEN_READWRITE | (use == Use::write ? SQLITE_OPEN_CREATE : 0);
  }
  const int status = sqlite3_open_v2(name.c_str(), &connection, flags, nullptr);
  std::unique_ptr<Database> database(new Database(connection));
  if (status != SQLITE_OK || !database->configure(use)) {
    if (database->isDamaged()) return needsRescue(path);
    return database->lastError("the catalogue “" + path + "” cannot be opened");
  }
  return database;
}

bool Database::configure(Use use) {
  waitFor(kPatience);
  const auto set = [this](int option, int value) {
    return sqlite3_db_config(connection_, option, value, nullptr) == SQLITE_OK;
  };
  // Whoever closes last must not checkpoint: it may not be the one writer.
  if (!set(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1) || !set(SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0) ||
      !set(SQLITE_DBCONFIG_DEFENSIVE, 1) || !set(SQLITE_DBCONFIG_DQS_DML, 0) ||
      !set(SQLITE_DBCONFIG_DQS_DDL, 0) || !set(SQLITE_DBCONFIG_ENABLE_FKEY, 1)) {
    return false;
  }
  setCheckpointing(use == Use::write);
  return execute(
      "PRAGMA cell_size_check=ON; PRAGMA synchronous=FULL;"
      "PRAGMA cache_size=-" +
      std::to_string(kUsualCache) +
      ";"
      // A file for what is sorted would need a descriptor, and space.
      "PRAGMA temp_store=MEMORY");
}

Database::~Database() {
  for (const auto& [text, kept] : statements_) sqlite3_finalize(kept.statement);
  sqlite3_close(connection_);
}

Statement Database::prepare(std::string_view sql) {
  if (const auto kept = statements_.find(sql); kept != statements_.end()) {
    return Statement(kept->second.statement, SQLITE_OK, damageMet_, &kept->second.isLent);
  }
  if (statements_.size() >= kKeptStatements) {
    for (auto kept = statements_.begin(); kept != statements_.end();) {
      if (kept->second.isLent) {
        ++kept;
        continue;
      }
      sqlite3_finalize(kept->second.statement);
      kept = statements_.erase(kept);
    }
  }
  sqlite3_stmt* statement = nullptr;
  const int status = sqlite3_prepare_v3(connection_, sql.data(), static_cast<int>(sql.size()),
                                        SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  if (meansDamage(status)) damageMet_ = true;
  if (statement == nullptr) return Statement(nullptr, status, damageMet_, nullptr);
  Kept& kept = statements_.emplace(sql, Kept{statement, false}).first->second;
  return Statement(statement, status, damageMet_, &kept.isLent);
}

bool Database::execute(const std::string& sql) {
  return sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::optional<std::int64_t> Database::integer(std::string_view sql) {
  Statement statement = prepare(sql);
  if (!statement.next()) return std::nullopt;
  return statement.integer(0);
}

bool Database::settleLog() {
  const auto version = integer("PRAGMA user_version");
  return version && execute("PRAGMA user_version=" + std::to_string(*version));
}

bool Database::copyTo(const std::string& path, const std::function<bool()>& shouldStop) {
  constexpr int kPagesAtOnce = 256;
  constexpr int kFlags =
      SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE | SQLITE_OPEN_NOFOLLOW;
  sqlite3* target = nullptr;
  int status = sqlite3_open_v2(path.c_str(), &target, kFlags, nullptr);
  // What is cut short is thrown away, and whoever keeps it makes it durable.
  if (status == SQLITE_OK) {
    status = sqlite3_exec(target, "PRAGMA journal_mode=OFF; PRAGMA synchronous=OFF", nullptr,
                          nullptr, nullptr);
  }
  if (status == SQLITE_OK) {
    const ReadTransaction moment(*this);
    // The moment begins with the first read.
    const bool isBegun = integer("PRAGMA user_version").has_value();
    sqlite3_backup* copy =
        isBegun ? sqlite3_backup_init(target, "main", connection_, "main") : nullptr;
    status = copy == nullptr ? SQLITE_ERROR : SQLITE_OK;
    while (status == SQLITE_OK && !(shouldStop && shouldStop())) {
      status = sqlite3_backup_step(copy, kPagesAtOnce);
    }
    sqlite3_backup_finish(copy);
  }
  sqlite3_close(target);
  return status == SQLITE_DONE;
}

void Database::waitFor(std::chrono::milliseconds patience) {
  sqlite3_busy_timeout(connection_, static_cast<int>(patience.count()));
}

void Database::emptyLog(std::chrono::milliseconds patience) {
  waitFor(patience);
  execute("PRAGMA wal_checkpoint(TRUNCATE)");
  waitFor(kPatience);
}

void Database::setTriggers(bool isOn) {
  sqlite3_db_config(connection_, SQLITE_DBCONFIG_ENABLE_TRIGGER, isOn ? 1 : 0, nullptr);
}

void Database::setCache(int kilobytes) {
  execute("PRAGMA cache_size=-" + std::to_string(kilobytes));
}

void Database::setCheckpointing(bool isOn) {
  sqlite3_wal_autocheckpoint(connection_, isOn ? kPagesOfLog : 0);
}

std::int64_t Database::lastInsertedRow() const {
  return sqlite3_last_insert_rowid(connection_);
}

int Database::changedRows() const {
  return sqlite3_changes(connection_);
}

bool Database::isDamaged() const {
  return meansDamage(sqlite3_errcode(connection_));
}

Failure needsRescue(const std::string& path, std::string_view what) {
  Failure failure(LibraryErrorCode::internal,
                  "the catalogue “" + path + "” " + std::string(what) +
                      ". The command “quorvin check --repair” brings back what can be.");
  failure.isOfCatalogue = true;
  return failure;
}

Failure Database::lastError(std::string_view sentence) const {
  if (isDamaged() || damageMet_) {
    const char* path = sqlite3_db_filename(connection_, "main");
    return needsRescue(path == nullptr ? "" : path);
  }
  const int code = sqlite3_errcode(connection_) & 0xFF;
  if (code == SQLITE_IOERR || code == SQLITE_CANTOPEN) {
    const int error = sqlite3_system_errno(connection_);
    Failure failure = systemFailure(sentence, error);
    failure.isOfDescriptors = error == EMFILE || error == ENFILE;
    if (failure.isOfDescriptors || failure.is(LibraryErrorCode::notEnoughSpace)) return failure;
  }
  LibraryErrorCode told = LibraryErrorCode::internal;
  if (code == SQLITE_FULL) told = LibraryErrorCode::notEnoughSpace;
  if (code == SQLITE_BUSY) told = LibraryErrorCode::operationInterrupted;
  return Failure(told, std::string(sentence) + ": " + sqlite3_errmsg(connection_) + ".");
}

std::string listOfRows(const std::vector<std::int64_t>& rows) {
  std::string list = "[";
  for (const std::int64_t row : rows) {
    if (list.size() > 1) list += ',';
    list += std::to_string(row);
  }
  return list + "]";
}

}  // namespace quorvin
