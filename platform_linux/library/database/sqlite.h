// SQLite's C interface, with owners for its objects. Every value is bound.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"

struct sqlite3;
struct sqlite3_stmt;

namespace quorvin {

/// A run of bytes that is bound as a blob.
struct Blob {
  std::string_view bytes;
};

/// A prepared statement while it is used. It goes back to its connection, which outlives it, as
/// new. A statement that could not be prepared has no rows and has failed.
class Statement {
 public:
  /// `damageMet` becomes true when a step finds the file damaged; `isLent`, if given, is true as
  /// long as the statement is used.
  Statement(sqlite3_stmt* statement, int status, bool& damageMet, bool* isLent);
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&&) = delete;
  ~Statement();

  /// Binds the values to the next places, from the left. Text is not copied: it lives until the
  /// statement goes.
  template <class... Values>
  Statement& bind(const Values&... values) {
    (bindNext(values), ...);
    return *this;
  }

  /// Binds what the column of another statement's present row holds, whatever it is, to the next
  /// place.
  Statement& bindColumn(const Statement& row, int column);

  /// Moves to the next row; false at the end and on failure.
  bool next();
  /// True when something went wrong, now or earlier.
  bool failed() const;
  /// Runs a statement that has no rows. False when it failed.
  bool run() { return !next() && !failed(); }
  /// Makes it ready to run again with new values.
  void rewind();

  bool isNull(int column) const;
  std::int64_t integer(int column) const;
  double real(int column) const;
  /// Until the next row. Valid UTF-8, whoever wrote it: it may go on to a message.
  std::string_view text(int column) const;
  std::string_view blob(int column) const;  ///< until the next row
  std::optional<std::int64_t> optionalInteger(int column) const;
  std::optional<std::string> optionalText(int column) const;

 private:
  void bindNext(std::int64_t value);
  void bindNext(int value) { bindNext(std::int64_t{value}); }
  void bindNext(double value);
  void bindNext(std::string_view value);
  void bindNext(const std::string& value) { bindNext(std::string_view(value)); }
  void bindNext(Blob value);
  void bindNext(std::nullopt_t);
  void bindNext(const void*) = delete;  // texts come as std::string or string_view
  template <class T>
  void bindNext(const std::optional<T>& value) {
    value ? bindNext(*value) : bindNext(std::nullopt);
  }
  void note(int status);

  sqlite3_stmt* statement_;
  int status_;
  bool* damageMet_;
  bool* isLent_;
  int bound_ = 0;
  mutable std::deque<std::string> mended_;  ///< texts of the row that were not valid
};

/// Of a catalogue that cannot be used: "The catalogue “PATH” WHAT", and the command that helps.
Failure needsRescue(const std::string& path, std::string_view what = "is damaged");

/// One connection; used by one thread at a time. It checkpoints only when it is told to, or, for
/// `write`, when it commits.
class Database {
 public:
  /// The version of SQLite that is used.
  static std::string libraryVersion();

  /// For others to be out of the way, where nothing else is said.
  static constexpr std::chrono::milliseconds kPatience{5000};

  enum class Use {
    read,
    write,
    readOnly,  ///< read, of a file that others may change; its log and the log's index are there
    snapshot,  ///< read only, of a file that nobody changes; makes nothing beside it
  };
  static Result<std::unique_ptr<Database>> open(const std::string& path, Use use);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  /// The statement is kept for the next time. Two uses of one text must not overlap.
  Statement prepare(std::string_view sql);
  /// Runs statements that have neither values nor rows.
  bool execute(const std::string& sql);
  /// The single integer that the statement yields; none when it failed or has no row.
  std::optional<std::int64_t> integer(std::string_view sql);

  std::int64_t lastInsertedRow() const;
  int changedRows() const;
  /// The last failure, as the library tells it: out of space, locked, damaged or else. Of a damaged
  /// file it says that alone, and what helps.
  Failure lastError(std::string_view sentence) const;
  /// After a commit that failed: part of it may stand in the log, whole, and would count when the
  /// log is next read from its start. Makes it void by writing on in its place. What is read
  /// afterwards is what will be read ever after. False when that could not be made durable either.
  bool settleLog();
  /// Looks through all of its pages: `damaged` when they or the indexes contradict each other,
  /// `unknown` when they cannot be read for another reason, or when `shouldStop`, asked now and
  /// then, said so.
  enum class Soundness { sound, damaged, unknown };
  Soundness soundness(const std::function<bool()>& shouldStop = {});
  bool isSound() { return soundness() == Soundness::sound; }
  /// Copies all of it, as of one moment, to the empty file at the path. Not durable. False when
  /// that failed, or when `shouldStop`, asked now and then, said so.
  bool copyTo(const std::string& path, const std::function<bool()>& shouldStop = {});
  /// Brings the log's content into the file, unless somebody who reads is still in the way after so
  /// long. The caller holds the writer lock.
  void emptyLog(std::chrono::milliseconds patience = kPatience);
  /// Of a connection for writing: whether commits bring a long log into the file.
  void setCheckpointing(bool isOn);
  /// Whether triggers fire for what this connection does. Statements are prepared anew.
  void setTriggers(bool isOn);
  /// How much of the file is kept in memory at most, in kB; what is beyond that goes.
  void setCache(int kilobytes);
  static constexpr int kUsualCache = 16'000;
  /// True when the last failure says that the file is no sound database.
  bool isDamaged() const;
  /// True once any statement found the file damaged. Whoever took the failure for "no such row" has
  /// then been mistaken, so that nothing may be committed.
  bool hasMetDamage() const { return damageMet_; }

 private:
  explicit Database(sqlite3* connection) : connection_(connection) {}
  bool configure(Use use);
  void waitFor(std::chrono::milliseconds patience);

  struct Kept {
    sqlite3_stmt* statement = nullptr;
    bool isLent = false;
  };

  sqlite3* connection_;
  std::map<std::string, Kept, std::less<>> statements_;
  bool damageMet_ = false;
};

/// What is read while it lives is of one moment.
class ReadTransaction {
 public:
  explicit ReadTransaction(Database& database) : database_(database) {
    database_.prepare("BEGIN").run();
  }
  ~ReadTransaction() { database_.prepare("COMMIT").run(); }
  ReadTransaction(const ReadTransaction&) = delete;
  ReadTransaction& operator=(const ReadTransaction&) = delete;

 private:
  Database& database_;
};

/// Row ids as the JSON list that statements with `json_each` take.
std::string listOfRows(const std::vector<std::int64_t>& rows);

}  // namespace quorvin
