// Pages of a library of a million assets through the C interface, beside the bare statement that
// reads such rows from the start of an index.
//
// bench_page [OPTION...] [FOLDER]; the folder keeps the libraries from one run to the next.
#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "bench/bench_engine.h"
#include "bench/large_library.h"
#include "bench/report.h"

namespace quorvin {
namespace {

constexpr int kPageSize = 100;

struct Page {
  std::string gallery;
  std::int64_t start = 0;
  int sort = 0;  ///< 0: newest first; 1: oldest first
  int mediaType = 0;
};

std::vector<std::uint8_t> messageOf(const Page& page) {
  return callMessage("getAssetList", Map{{"collectionId", page.gallery},
                                         {"start", page.start},
                                         {"end", page.start + kPageSize},
                                         {"sort", page.sort},
                                         {"mediaType", page.mediaType}});
}

/// `before` is not measured.
void benchPage(benchmark::State& state, BenchEngine& engine, const Page& page,
               const std::function<void()>& before = {}) {
  const auto message = messageOf(page);
  for (auto _ : state) {
    if (before) {
      state.PauseTiming();
      before();
      state.ResumeTiming();
    }
    // An error and an empty page are shorter than any page of records.
    if (engine.send(message) < kPageSize * std::size_t{100}) {
      state.SkipWithError("this is no page of records");
      break;
    }
  }
}

/// A page elsewhere each time, nowhere near the one before.
void benchStrangePages(benchmark::State& state, BenchEngine& engine, Page page, std::int64_t end) {
  for (auto _ : state) {
    state.PauseTiming();
    page.start = (page.start + 382'003) % (end - kPageSize);
    const auto message = messageOf(page);
    state.ResumeTiming();
    if (engine.send(message) < kPageSize * std::size_t{100}) {
      state.SkipWithError("this is no page of records");
      break;
    }
  }
}

void benchRows(benchmark::State& state, Rows& rows, const std::string& sql,
               std::initializer_list<std::int64_t> values) {
  for (auto _ : state) {
    if (rows.read(sql, values) != kPageSize) {
      state.SkipWithError("this is no page of rows");
      break;
    }
  }
}

std::string firstRows(const Page& page) {
  const std::string way = page.sort == 0 ? " DESC" : "";
  const std::string type =
      page.mediaType == 0 ? "" : " AND a.media_type = " + std::to_string(page.mediaType);
  return "SELECT " + kRecordColumns + " FROM assets AS a INDEXED BY " +
         (page.mediaType == 0 ? "by_date" : "by_type") + " WHERE " + kListed + type +
         " ORDER BY a.created_ns" + way + ", a.id" + way + " LIMIT ? OFFSET ?";
}

/// A commit of another program, which touches the page's gallery.
class Commits {
 public:
  explicit Commits(const std::string& library) : rows_(catalogueOf(library)) {
    rows_.run("PRAGMA synchronous=OFF");
  }
  void commit() {
    rows_.read("UPDATE assets SET favorite = 1 - favorite WHERE id = ?",
               {++number_ * 97 % 900 + 1});
  }

 private:
  Rows rows_;
  std::int64_t number_ = 0;
};

constexpr std::array<const char*, 4> kFilters = {"all", "images", "videos", "sounds"};
constexpr std::array<const char*, 2> kSorts = {"newest", "oldest"};

class PageComparisons {
 public:
  explicit PageComparisons(const LargeLibraries& libraries)
      : engine_(libraries.million),
        small_(libraries.thousand),
        rows_(libraries.rival),
        commits_(libraries.million),
        smallCommits_(libraries.thousand) {
    Rows million(catalogueOf(libraries.million));
    Rows thousand(catalogueOf(libraries.thousand));
    const std::string kRecents = "SELECT ident FROM collections WHERE subtype = 209";
    recents_ = million.text(kRecents);
    fewRecents_ = thousand.text(kRecents);
    album_ = million.text("SELECT ident FROM collections WHERE title = 'Album 1'");
    albumRow_ = std::stoll(million.text("SELECT id FROM collections WHERE title = 'Album 1'"));
    for (int type = 0; type < 4; ++type) {
      counts_[static_cast<std::size_t>(type)] =
          std::stoll(rows_.text("SELECT count(*) FROM assets AS a WHERE " + kListed +
                                (type == 0 ? "" : " AND media_type = " + std::to_string(type))));
    }
    albumCount_ = std::stoll(
        rows_.text("SELECT count(*) FROM members JOIN assets AS a ON a.id = asset WHERE " +
                   kListed + " AND collection = " + std::to_string(albumRow_)));
  }

  void add(Report& report) {
    addDepths(report);
    addBesideOffset(report);
    addBesideFew(report);
    addAlbum(report);
  }

 private:
  void addDepths(Report& report) {
    for (int sort = 0; sort < 2; ++sort) {
      for (int type = 0; type < 4; ++type) {
        const std::int64_t last = counts_[static_cast<std::size_t>(type)] - kPageSize;
        for (const std::int64_t start : {std::int64_t{0}, std::int64_t{10'000}, last}) {
          if (start > last) continue;
          addDepth(report, {recents_, start, sort, type}, false);
          addDepth(report, {recents_, start, sort, type}, true);
        }
      }
    }
    report.compare(
        {"page anywhere, another each time", "bare first 100", 3},
        [this](auto& state) {
          benchStrangePages(state, engine_, {recents_, 0, 0, 0}, counts_[0]);
        },
        rival({recents_, 0, 0, 0}));
  }

  void addDepth(Report& report, const Page& page, bool isAfterCommit) {
    const std::string name = std::string(kFilters[static_cast<std::size_t>(page.mediaType)]) +
                             ", " + kSorts[static_cast<std::size_t>(page.sort)] + ", from " +
                             std::to_string(page.start) + (isAfterCommit ? ", commit" : "");
    report.compare(
        {name, "bare first 100", 3},
        [this, page, isAfterCommit](auto& state) {
          benchPage(state, engine_, page,
                    isAfterCommit ? [this] { commits_.commit(); } : std::function<void()>());
        },
        rival(page));
  }

  std::function<void(benchmark::State&)> rival(const Page& page) {
    return [this, sql = firstRows(page)](auto& state) {
      benchRows(state, rows_, sql, {kPageSize, 0});
    };
  }

  void addBesideOffset(Report& report) {
    const Page page{recents_, 500'000, 0, 0};
    report.compare(
        {"page from 500,000", "bare OFFSET", 1.0 / 25},
        [this, page](auto& state) { benchPage(state, engine_, page); },
        [this, sql = firstRows(page)](auto& state) {
          benchRows(state, rows_, sql, {kPageSize, 500'000});
        });
  }

  void addBesideFew(Report& report) {
    for (const bool isAfterCommit : {false, true}) {
      const Page few{fewRecents_, 500, 0, 0};
      for (const std::int64_t start : {std::int64_t{0}, std::int64_t{500'000}, counts_[0] - 200}) {
        const Page page{recents_, start, 0, 0};
        report.compare(
            {"page from " + std::to_string(start) + (isAfterCommit ? ", commit" : ""),
             "library of 1,000", 1.3},
            [this, page, isAfterCommit](auto& state) {
              benchPage(state, engine_, page,
                        isAfterCommit ? [this] { commits_.commit(); } : std::function<void()>());
            },
            [this, few, isAfterCommit](auto& state) {
              benchPage(
                  state, small_, few,
                  isAfterCommit ? [this] { smallCommits_.commit(); } : std::function<void()>());
            });
      }
    }
  }

  void addAlbum(Report& report) {
    const std::string sql = "SELECT " + kRecordColumns +
                            " FROM members AS m JOIN assets AS a ON a.id = m.asset WHERE"
                            " m.collection = ? AND " +
                            kListed + " ORDER BY a.created_ns DESC, a.id DESC LIMIT ? OFFSET ?";
    for (const std::int64_t start : {std::int64_t{0}, albumCount_ / 2, albumCount_ - kPageSize}) {
      const Page page{album_, start, 0, 0};
      report.compare(
          {"album of 100,000, from " + std::to_string(start) + ", commit",
           "bare join, sort, OFFSET", 1.0 / 100},
          [this, page](auto& state) {
            benchPage(state, engine_, page, [this] { commits_.commit(); });
          },
          [this, sql, start](auto& state) {
            benchRows(state, rows_, sql, {albumRow_, kPageSize, start});
          });
    }
  }

  BenchEngine engine_;
  BenchEngine small_;
  Rows rows_;
  Commits commits_;
  Commits smallCommits_;
  std::string recents_;
  std::string fewRecents_;
  std::string album_;
  std::int64_t albumRow_ = 0;
  std::int64_t albumCount_ = 0;
  std::array<std::int64_t, 4> counts_{};
};

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  BenchArguments arguments(argc, argv);
  const BenchFolder folder;
  const LargeLibraries libraries(arguments.files.empty() ? folder / "libraries"
                                                         : arguments.files.front());
  PageComparisons comparisons(libraries);
  Report report;
  comparisons.add(report);
  return report.run(arguments);
}
