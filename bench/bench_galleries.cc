// Counts and galleries of a library of a million assets, opening it, deleting from it, and the
// memory of a process that has seen all of it.
//
// bench_galleries [OPTION...] [FOLDER]; the folder keeps the libraries from one run to the next.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/large_library.h"
#include "bench/report.h"

namespace quorvin {
namespace {

constexpr int kDeletions = 10'000;
constexpr double kMostMegabytes = 60;

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::vector<std::uint8_t> galleryList(int mediaType) {
  return callMessage("getGalleryList", Map{{"withAllPhotos", true},
                                           {"filterEmptyAsset", false},
                                           {"withSmartAlbum", true},
                                           {"mediaType", mediaType}});
}

std::vector<std::uint8_t> assetCount(const std::string& gallery, int mediaType) {
  return callMessage("getGalleryAssetCount",
                     Map{{"collectionId", gallery}, {"sort", 0}, {"mediaType", mediaType}});
}

std::string recentsOf(Rows& rows) {
  return rows.text("SELECT ident FROM collections WHERE subtype = 209");
}

/// Sends the same again and again, each time right after another program's commit.
void benchAfterCommit(benchmark::State& state, BenchEngine& engine, Rows& rows,
                      const std::vector<std::uint8_t>& message, std::size_t atLeast) {
  std::int64_t number = 0;
  for (auto _ : state) {
    state.PauseTiming();
    rows.read("UPDATE assets SET favorite = 1 - favorite WHERE id = ?", {++number * 97 % 900 + 1});
    state.ResumeTiming();
    if (engine.send(message) < atLeast) {
      state.SkipWithError("this is no reply");
      break;
    }
  }
}

void benchCount(benchmark::State& state, Rows& rows, int mediaType) {
  const std::string sql = "SELECT count(*) FROM assets AS a INDEXED BY by_type WHERE " + kListed +
                          (mediaType == 0 ? " AND media_type IN (1, 2)"
                                          : " AND media_type = " + std::to_string(mediaType));
  for (auto _ : state) {
    if (rows.read(sql, {}) != 1) state.SkipWithError("this is no count");
  }
}

/// From the start of an engine to its first page.
double firstReply(const std::string& library, bool isUnclean) {
  std::string gallery;
  {
    Rows rows(catalogueOf(library));
    gallery = recentsOf(rows);
    // Nobody brings it into the file: a log stays, as a process leaves it that is killed.
    if (isUnclean) rows.run("UPDATE assets SET favorite = 1 - favorite WHERE id = 1");
  }
  const auto message = callMessage(
      "getAssetList",
      Map{{"collectionId", gallery}, {"start", 0}, {"end", 100}, {"sort", 0}, {"mediaType", 0}});
  std::optional<BenchEngine> engine;
  return secondsOf([&] {
    engine.emplace(library);
    if (engine->send(message) < 10'000) std::exit(EXIT_FAILURE);
  });
}

// Assets from all over the library.
const std::string kDoomed =
    " FROM assets WHERE id % 97 = 0 AND trashed_ns IS NULL ORDER BY id LIMIT " +
    std::to_string(kDeletions);

double deleteAll(BenchEngine& engine, Rows& rows, const std::vector<std::uint8_t>& message,
                 const std::string& rowIds) {
  const double seconds = secondsOf([&] {
    // True is two bytes long.
    if (engine.send(message) != 2) std::exit(EXIT_FAILURE);
  });
  rows.run("UPDATE assets SET trashed_ns = NULL WHERE id IN (" + rowIds + ")");
  rows.run("PRAGMA wal_checkpoint(TRUNCATE)");
  return seconds;
}

double markAll(Rows& rows, const std::string& rowIds) {
  rows.run("PRAGMA synchronous=FULL");
  const double seconds =
      secondsOf([&] { rows.run("UPDATE assets SET trashed_ns = 1 WHERE id IN (" + rowIds + ")"); });
  rows.run("UPDATE assets SET trashed_ns = NULL WHERE id IN (" + rowIds + ")");
  rows.run("PRAGMA wal_checkpoint(TRUNCATE)");
  return seconds;
}

double residentMegabytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::strtod(line.c_str() + 6, nullptr) / 1024;
  }
  return 0;
}

/// Pages through all of a library, and clears the engine's cache now and then.
double memoryAfterAllPages(const std::string& library) {
  Rows rows(catalogueOf(library));
  const std::string gallery = recentsOf(rows);
  BenchEngine engine(library);
  for (std::int64_t start = 0;; start += 1000) {
    const auto message = callMessage("getAssetList", Map{{"collectionId", gallery},
                                                         {"start", start},
                                                         {"end", start + 1000},
                                                         {"sort", 0},
                                                         {"mediaType", 0}});
    if (engine.send(message) < 100) break;
    if (start % 10'000 == 0) engine.call("clearAllCache", Null{});
  }
  return residentMegabytes();
}

// In a process of its own: the program's name again, and the library.
int reportMemory(const char* self, const std::string& library) {
  std::fflush(stdout);
  const pid_t child = ::fork();
  if (child == 0) {
    ::execl("/proc/self/exe", self, "--memory-of", library.c_str(), nullptr);
    ::_exit(127);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

void addCounts(Report& report, BenchEngine& engine, BenchEngine& small, Rows& million,
               Rows& thousand, Rows& rival) {
  for (int type = 0; type < 4; ++type) {
    report.compare(
        {"300 galleries, filter " + std::to_string(type) + ", commit", "one indexed COUNT(*)", 0.1},
        [&engine, &million, type](auto& state) {
          benchAfterCommit(state, engine, million, galleryList(type), 10'000);
        },
        [&rival](auto& state) { benchCount(state, rival, 1); });
  }
  const std::string recents = recentsOf(million);
  const std::string fewRecents = recentsOf(thousand);
  for (int type = 0; type < 4; ++type) {
    report.compare(
        {"gallery's counts, filter " + std::to_string(type) + ", commit", "library of 1,000", 2},
        [&engine, &million, recents, type](auto& state) {
          benchAfterCommit(state, engine, million, assetCount(recents, type), 50);
        },
        [&small, &thousand, fewRecents, type](auto& state) {
          benchAfterCommit(state, small, thousand, assetCount(fewRecents, type), 50);
        });
  }
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  if (argc == 3 && std::string(argv[1]) == "--memory-of") {
    const double megabytes = memoryAfterAllPages(argv[2]);
    printFound({"resident, after all of 1,000,000", "at most", 1}, megabytes, kMostMegabytes, "MB");
    return EXIT_SUCCESS;
  }
  BenchArguments arguments(argc, argv);
  const BenchFolder folder;
  const LargeLibraries libraries(arguments.files.empty() ? folder / "libraries"
                                                         : arguments.files.front());
  Report report;
  for (const bool isUnclean : {false, true}) {
    report.measure(
        {std::string("first reply after opening") + (isUnclean ? ", killed" : ""),
         "library of 1,000", 3},
        [&libraries, isUnclean] { return firstReply(libraries.million, isUnclean); },
        [&libraries, isUnclean] { return firstReply(libraries.thousand, isUnclean); });
  }
  Rows rival(libraries.rival);
  Rows million(catalogueOf(libraries.million));
  Rows thousand(catalogueOf(libraries.thousand));
  million.run("PRAGMA synchronous=OFF");
  thousand.run("PRAGMA synchronous=OFF");
  {
    BenchEngine engine(libraries.million);
    List assets;
    for (const std::string& identifier : million.texts("SELECT ident" + kDoomed)) {
      assets.emplace_back(identifier);
    }
    const auto message = callMessage("deleteAssets", Map{{"assetIds", assets}});
    std::string rowIds;
    for (const std::string& row : million.texts("SELECT id" + kDoomed)) {
      rowIds += (rowIds.empty() ? "" : ",") + row;
    }
    report.measure(
        {"10,000 assets deleted in one call", "marking in one transaction", 2},
        [&] { return deleteAll(engine, million, message, rowIds); },
        [&] { return markAll(rival, rowIds); });
  }
  BenchEngine engine(libraries.million);
  BenchEngine small(libraries.thousand);
  addCounts(report, engine, small, million, thousand, rival);
  const int status = report.run(arguments);
  return reportMemory(argv[0], libraries.million) == 0 ? status : EXIT_FAILURE;
}
