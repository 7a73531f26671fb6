// Changes of a library through the C interface, beside the bare work that makes them durable.
//
// bench_changes [OPTION...] PHOTOGRAPH...
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/report.h"

namespace quorvin {
namespace {

// Six tenths of the rival's rate.
constexpr double kSavingGoal = 1 / 0.6;
constexpr double kDeletingGoal = 2;
constexpr int kAssets = 50'000;
constexpr int kDeletions = 1'000;

/// Saves the photograph again and again.
void benchSave(benchmark::State& state, BenchEngine& engine, const std::string& photograph) {
  const auto message = callMessage("saveImage", Map{{"filePath", photograph}});
  for (auto _ : state) {
    // An error is shorter than a record.
    if (engine.send(message) < 200) {
      state.SkipWithError("this is no record");
      break;
    }
  }
}

bool copyDurably(const std::string& source, const std::string& folder, const std::string& target) {
  const int from = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
  const int to = ::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  const int place = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  struct stat status = {};
  bool done = from >= 0 && to >= 0 && place >= 0 && ::fstat(from, &status) == 0;
  for (off_t left = status.st_size; done && left > 0;) {
    const ssize_t copied =
        ::copy_file_range(from, nullptr, to, nullptr, static_cast<std::size_t>(left), 0);
    done = copied > 0;
    left -= copied;
  }
  done = done && ::fsync(to) == 0 && ::fsync(place) == 0;
  for (const int fd : {from, to, place}) ::close(fd);
  return done;
}

void benchCopy(benchmark::State& state, const std::string& photograph, const std::string& folder) {
  static int number = 0;
  for (auto _ : state) {
    if (!copyDurably(photograph, folder, folder + "/" + std::to_string(number++))) {
      state.SkipWithError("the photograph cannot be copied");
      break;
    }
  }
}

/// A connection of its own to a library's catalogue.
class Rows {
 public:
  explicit Rows(const std::string& library) {
    check(sqlite3_open_v2((library + "/library.sqlite").c_str(), &connection_,
                          SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr));
    run("PRAGMA synchronous=FULL");
  }
  ~Rows() {
    sqlite3_finalize(mark_);
    sqlite3_db_config(connection_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    sqlite3_close(connection_);
  }
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;

  void run(const char* sql) { check(sqlite3_exec(connection_, sql, nullptr, nullptr, nullptr)); }

  /// The identifiers of the assets to be deleted, from all over the library.
  List identifiers() {
    sqlite3_stmt* rows = nullptr;
    check(sqlite3_prepare_v2(connection_, "SELECT ident FROM assets WHERE id % 50 = 0", -1, &rows,
                             nullptr));
    List identifiers;
    while (sqlite3_step(rows) == SQLITE_ROW) {
      identifiers.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(rows, 0)));
    }
    sqlite3_finalize(rows);
    return identifiers;
  }

  /// Marks the same assets, one after the other, in one transaction.
  void markAll() {
    if (mark_ == nullptr) {
      check(sqlite3_prepare_v2(connection_, "UPDATE assets SET trashed_ns = 1 WHERE id = ?", -1,
                               &mark_, nullptr));
    }
    run("BEGIN IMMEDIATE");
    for (int i = 1; i <= kDeletions; ++i) {
      sqlite3_bind_int(mark_, 1, i * (kAssets / kDeletions));
      if (sqlite3_step(mark_) != SQLITE_DONE) check(SQLITE_ERROR);
      sqlite3_reset(mark_);
    }
    run("COMMIT");
  }

  void bringBack() {
    run("UPDATE assets SET trashed_ns = NULL WHERE trashed_ns IS NOT NULL");
    run("PRAGMA wal_checkpoint(TRUNCATE)");
  }

 private:
  void check(int status) {
    if (status == SQLITE_OK) return;
    std::fprintf(stderr, "SQLite: %s\n", sqlite3_errmsg(connection_));
    std::exit(EXIT_FAILURE);
  }

  sqlite3* connection_ = nullptr;
  sqlite3_stmt* mark_ = nullptr;
};

void plantLibrary(const std::string& path) {
  { const BenchEngine maker(path); }
  Rows rows(path);
  const std::string planting =
      "WITH RECURSIVE number(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM number WHERE i < " +
      std::to_string(kAssets) +
      ") INSERT INTO assets(ident, media_type, width, height, created_ns, modified_ns, added_ns)"
      " SELECT printf('%08X-8B86-4D01-B42D-%012X/L0/001', i * 2654435761 % 4294967296, i), 1, 4032,"
      " 3024, (1000000000 + i * 7919 % 50021 * 12000) * 1000000000,"
      " (1000000000 + i * 7919 % 50021 * 12000) * 1000000000, i FROM number";
  rows.run(planting.c_str());
  rows.bringBack();
}

void benchDelete(benchmark::State& state, BenchEngine& engine, Rows& rows, const List& assets) {
  const auto message = callMessage("deleteAssets", Map{{"assetIds", assets}});
  for (auto _ : state) {
    // True is two bytes long.
    if (engine.send(message) != 2) {
      state.SkipWithError("they were not deleted");
      break;
    }
    state.PauseTiming();
    rows.bringBack();
    state.ResumeTiming();
  }
}

void benchMark(benchmark::State& state, Rows& rows) {
  for (auto _ : state) {
    rows.markAll();
    state.PauseTiming();
    rows.bringBack();
    state.ResumeTiming();
  }
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  BenchArguments arguments(argc, argv);
  const BenchFolder folder;
  Report report;
  const std::string copies = folder / "copies";
  std::filesystem::create_directory(copies);
  BenchEngine saver(folder / "saved");
  for (const std::string& given : arguments.files) {
    const std::string photograph = std::filesystem::absolute(given);
    report.compare(
        {"durable save of " + std::filesystem::path(photograph).filename().string(),
         "copy, fsync, fsync folder", kSavingGoal},
        [&saver, photograph](auto& state) { benchSave(state, saver, photograph); },
        [&copies, photograph](auto& state) { benchCopy(state, photograph, copies); });
  }

  const std::string ours = folder / "ours";
  const std::string rivals = folder / "rivals";
  plantLibrary(ours);
  plantLibrary(rivals);
  BenchEngine engine(ours);
  Rows oursRows(ours);
  Rows rivalsRows(rivals);
  const List assets = oursRows.identifiers();
  report.compare(
      {"1,000 assets deleted in one call", "marking in one transaction", kDeletingGoal},
      [&](auto& state) { benchDelete(state, engine, oursRows, assets); },
      [&](auto& state) { benchMark(state, rivalsRows); });
  return report.run(arguments);
}
