#include "bench/large_library.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "testing/library/generated_library.h"

namespace quorvin {
namespace {

constexpr std::int64_t kAlbums = 300;

void copyRows(const std::string& library, const std::string& file) {
  if (std::filesystem::exists(file)) return;
  Rows rows(file);
  rows.run(
      "PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF; PRAGMA cache_size=-400000;"
      "ATTACH '" +
      catalogueOf(library) +
      "' AS library; BEGIN;"
      "CREATE TABLE assets(id INTEGER PRIMARY KEY, ident TEXT, media_type INTEGER,"
      " subtypes INTEGER, width INTEGER, height INTEGER, duration REAL, created_ns INTEGER,"
      " modified_ns INTEGER, added_ns INTEGER, favorite INTEGER, hidden INTEGER, burst_id TEXT,"
      " burst_sel INTEGER, represents INTEGER, visible INTEGER, trashed_ns INTEGER);"
      "INSERT INTO assets SELECT id, ident, media_type, subtypes, width, height, duration,"
      " created_ns, modified_ns, added_ns, favorite, hidden, burst_id, burst_sel, represents,"
      " visible, trashed_ns FROM library.assets;"
      "CREATE TABLE members(collection INTEGER, asset INTEGER, pos INTEGER,"
      " PRIMARY KEY (collection, asset)) WITHOUT ROWID;"
      "INSERT INTO members SELECT collection, asset, pos FROM library.members;"
      "CREATE INDEX by_date ON assets(created_ns, id, media_type, trashed_ns, hidden, visible)"
      " WHERE trashed_ns IS NULL AND hidden = 0 AND visible = 1;"
      "CREATE INDEX by_type ON assets(media_type, created_ns, id, trashed_ns, hidden, visible)"
      " WHERE trashed_ns IS NULL AND hidden = 0 AND visible = 1;"
      "CREATE INDEX trashed ON assets(trashed_ns) WHERE trashed_ns IS NOT NULL;"
      "COMMIT; DETACH library; PRAGMA wal_checkpoint(TRUNCATE)");
}

}  // namespace

Rows::Rows(const std::string& file) {
  check(sqlite3_open_v2(file.c_str(), &connection_,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr));
  // As the library has it.
  run("PRAGMA cache_size=-16000; PRAGMA busy_timeout=5000");
}

Rows::~Rows() {
  for (const auto& [sql, statement] : statements_) sqlite3_finalize(statement);
  // The library's own to do.
  sqlite3_db_config(connection_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  sqlite3_close(connection_);
}

void Rows::run(const std::string& sql) {
  check(sqlite3_exec(connection_, sql.c_str(), nullptr, nullptr, nullptr));
}

std::vector<std::string> Rows::texts(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  check(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr));
  std::vector<std::string> texts;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    texts.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
  }
  check(sqlite3_finalize(statement));
  return texts;
}

int Rows::read(const std::string& sql, std::initializer_list<std::int64_t> values) {
  sqlite3_stmt*& statement = statements_[sql];
  if (statement == nullptr) {
    check(sqlite3_prepare_v3(connection_, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &statement,
                             nullptr));
  }
  int place = 0;
  for (const std::int64_t value : values) sqlite3_bind_int64(statement, ++place, value);
  int rows = 0;
  for (; sqlite3_step(statement) == SQLITE_ROW; ++rows) {
    for (int column = 0; column < sqlite3_column_count(statement); ++column) {
      switch (sqlite3_column_type(statement, column)) {
        case SQLITE_TEXT:
          benchmark::DoNotOptimize(sqlite3_column_text(statement, column));
          break;
        case SQLITE_FLOAT:
          benchmark::DoNotOptimize(sqlite3_column_double(statement, column));
          break;
        default:
          benchmark::DoNotOptimize(sqlite3_column_int64(statement, column));
      }
    }
  }
  check(sqlite3_reset(statement));
  return rows;
}

void Rows::check(int status) {
  if (status == SQLITE_OK) return;
  std::fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(connection_));
  std::exit(EXIT_FAILURE);
}

std::string largeLibrary(const std::string& folder, std::int64_t assets) {
  std::filesystem::create_directories(folder);
  std::string path = folder + "/" + std::to_string(assets);
  if (std::filesystem::exists(path)) return path;
  const auto done =
      generateLibrary(path, {.assets = assets, .albums = kAlbums, .largestAlbum = assets / 10});
  if (done) return path;
  std::fprintf(stderr, "%s\n", done.error().sentence().c_str());
  std::exit(EXIT_FAILURE);
}

LargeLibraries::LargeLibraries(const std::string& folder)
    : million(largeLibrary(folder, kMany)),
      thousand(largeLibrary(folder, kFew)),
      rival(folder + "/rival.sqlite") {
  copyRows(million, rival);
}

}  // namespace quorvin
