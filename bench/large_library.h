// A library of a million assets, one of a thousand, and what rivals read in place of them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace quorvin {

/// A connection of its own to a database. What fails ends the program.
class Rows {
 public:
  explicit Rows(const std::string& file);
  ~Rows();
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  void run(const std::string& sql);
  /// The first column of the first row.
  std::string text(const std::string& sql) { return texts(sql).at(0); }
  /// That of all rows.
  std::vector<std::string> texts(const std::string& sql);
  /// Reads every column of every row; returns how many rows came. The statement is kept prepared.
  int read(const std::string& sql, std::initializer_list<std::int64_t> values);

 private:
  void check(int status);

  sqlite3* connection_ = nullptr;
  std::map<std::string, sqlite3_stmt*> statements_;
};

/// The path of a library of so many assets in the folder, with 300 albums of which the largest has
/// a tenth of them. It is made where it is missing.
std::string largeLibrary(const std::string& folder, std::int64_t assets);

/// Libraries in a folder; they are made where they are missing.
struct LargeLibraries {
  static constexpr std::int64_t kMany = 1'000'000;
  static constexpr std::int64_t kFew = 1'000;

  explicit LargeLibraries(const std::string& folder);

  std::string million;
  std::string thousand;
  /// A database with the million's rows and what a statement needs to page through them: `assets`,
  /// with indexes of the listed ones by date, and by type and date; `members`.
  std::string rival;
};

inline std::string catalogueOf(const std::string& library) {
  return library + "/library.sqlite";
}

/// The columns of a record.
inline const std::string kRecordColumns =
    "a.ident, a.media_type, a.subtypes, a.width, a.height, a.created_ns, a.modified_ns, a.duration,"
    " a.favorite, a.hidden, a.burst_id, a.represents, a.burst_sel";
inline const std::string kListed = "a.trashed_ns IS NULL AND a.hidden = 0 AND a.visible = 1";

}  // namespace quorvin
