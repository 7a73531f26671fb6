// A page of a large library through the C interface, beside the bare statement that reads the rows.
#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/bench_engine.h"
#include "bench/report.h"

namespace quorvin {
namespace {

constexpr int kPageSize = 100;

/// Photographs and videos of twenty years, added in another order than they were taken.
constexpr const char* kPlanting = R"(
WITH RECURSIVE number(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM number WHERE i < 50000)
INSERT INTO assets(ident, media_type, width, height, duration, created_ns, modified_ns, added_ns)
SELECT printf('%08X-8B86-4D01-B42D-%012X/L0/001', i * 2654435761 % 4294967296, i),
       iif(i % 8 = 0, 2, 1), 4032, 3024, iif(i % 8 = 0, 12.5, 0),
       (1000000000 + i * 7919 % 50021 * 12000) * 1000000000,
       (1000000000 + i * 7919 % 50021 * 12000) * 1000000000, i
FROM number;
)";

/// The columns of a record.
constexpr const char* kPage =
    "SELECT ident, media_type, subtypes, width, height, created_ns, modified_ns, duration, "
    "favorite,"
    " hidden, burst_id, represents, burst_sel"
    " FROM assets INDEXED BY listed_by_date"
    " WHERE trashed_ns IS NULL AND hidden = 0 AND visible = 1"
    " ORDER BY created_ns DESC, id DESC LIMIT ? OFFSET ?";

/// A connection of its own to a library's catalogue.
class Rows {
 public:
  explicit Rows(const std::string& library) {
    check(sqlite3_open_v2((library + "/library.sqlite").c_str(), &connection_,
                          SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr));
  }
  ~Rows() {
    sqlite3_finalize(page_);
    sqlite3_close(connection_);
  }
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  void run(const char* sql) { check(sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr)); }

  std::string text(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v2(connection_, sql, -1, &statement, nullptr));
    if (sqlite3_step(statement) != SQLITE_ROW) check(SQLITE_EMPTY);
    std::string text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    sqlite3_finalize(statement);
    return text;
  }

  void preparePage() { check(sqlite3_prepare_v2(connection_, kPage, -1, &page_, nullptr)); }

  /// Reads every column of the page's rows; returns how many rows came.
  int readPage(int start) {
    sqlite3_bind_int(page_, 1, kPageSize);
    sqlite3_bind_int(page_, 2, start);
    int rows = 0;
    for (; sqlite3_step(page_) == SQLITE_ROW; ++rows) readRow();
    sqlite3_reset(page_);
    return rows;
  }

 private:
  void readRow() {
    for (int column = 0; column < sqlite3_column_count(page_); ++column) {
      switch (sqlite3_column_type(page_, column)) {
        case SQLITE_TEXT:
          benchmark::DoNotOptimize(sqlite3_column_text(page_, column));
          break;
        case SQLITE_FLOAT:
          benchmark::DoNotOptimize(sqlite3_column_double(page_, column));
          break;
        default:
          benchmark::DoNotOptimize(sqlite3_column_int64(page_, column));
      }
    }
  }

  void check(int status) {
    if (status == SQLITE_OK) return;
    std::fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(connection_));
    std::exit(EXIT_FAILURE);
  }

  sqlite3* connection_ = nullptr;
  sqlite3_stmt* page_ = nullptr;
};

/// The identifier of the gallery of all assets.
std::string plantLibrary(const std::string& path) {
  { const BenchEngine maker(path); }
  Rows rows(path);
  rows.run("PRAGMA synchronous=OFF");
  rows.run(kPlanting);
  return rows.text("SELECT ident FROM collections WHERE subtype = 209");
}

void benchPage(benchmark::State& state, BenchEngine& engine, const std::string& gallery,
               int start) {
  const auto message = callMessage("getAssetList", Map{{"collectionId", gallery},
                                                       {"start", start},
                                                       {"end", start + kPageSize},
                                                       {"sort", 0},
                                                       {"mediaType", 0}});
  for (auto _ : state) {
    // An error and an empty page are shorter than any page of records.
    if (engine.send(message) < kPageSize * std::size_t{100}) {
      state.SkipWithError("this is no page of records");
      break;
    }
  }
}

void benchStatement(benchmark::State& state, Rows& rows, int start) {
  for (auto _ : state) {
    if (rows.readPage(start) != kPageSize) {
      state.SkipWithError("this is no page of rows");
      break;
    }
  }
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  const BenchFolder folder;
  const std::string library = folder / "library";
  const std::string gallery = plantLibrary(library);
  BenchEngine engine(library);
  Rows rows(library);
  rows.preparePage();

  Report report;
  for (const int start : std::array{0, 100, 1000, 10'000}) {
    report.compare(
        {"page of 100 of 50,000, from " + std::to_string(start), "bare SQL statement", 1.5},
        [&engine, &gallery, start](benchmark::State& state) {
          benchPage(state, engine, gallery, start);
        },
        [&rows, start](benchmark::State& state) { benchStatement(state, rows, start); });
  }
  return report.run(argc, argv);
}
