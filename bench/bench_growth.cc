// What the same questions cost in libraries of more and more assets, each right after another
// program's commit, beside a library of 1,000. scripts/plot_growth.sh draws what it finds.
//
// bench_growth [OPTION...] FOLDER; the folder keeps the libraries from one run to the next.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/large_library.h"
#include "bench/report.h"

namespace quorvin {
namespace {

constexpr int kPageSize = 100;

class Library {
 public:
  Library(const std::string& folder, std::int64_t assets)
      : path_(largeLibrary(folder, assets)), rows_(catalogueOf(path_)) {
    rows_.run("PRAGMA synchronous=OFF");
    recents_ = rows_.text("SELECT ident FROM collections WHERE subtype = 209");
    listed_ = std::stoll(rows_.text("SELECT count(*) FROM assets AS a WHERE " + kListed));
  }

  std::vector<std::uint8_t> firstPage() const { return page(0); }
  std::vector<std::uint8_t> middlePage() const { return page(listed_ / 2); }
  std::vector<std::uint8_t> galleries() const {
    return callMessage("getGalleryList", Map{{"withAllPhotos", true},
                                             {"filterEmptyAsset", false},
                                             {"withSmartAlbum", true},
                                             {"mediaType", 0}});
  }
  std::vector<std::uint8_t> counts() const {
    return callMessage("getGalleryAssetCount",
                       Map{{"collectionId", recents_}, {"sort", 0}, {"mediaType", 0}});
  }

  void bench(benchmark::State& state, const std::vector<std::uint8_t>& message) {
    if (!engine_) engine_ = std::make_unique<BenchEngine>(path_);
    for (auto _ : state) {
      state.PauseTiming();
      rows_.read("UPDATE assets SET favorite = 1 - favorite WHERE id = ?",
                 {++commits_ * 97 % 900 + 1});
      state.ResumeTiming();
      if (engine_->send(message) < 40) {
        state.SkipWithError("this is no reply");
        break;
      }
    }
  }

  /// Seconds from the start of an engine to its first page.
  double opening() const {
    const auto message = firstPage();
    const auto start = std::chrono::steady_clock::now();
    std::optional<BenchEngine> engine(path_);
    if (engine->send(message) < 10'000) std::exit(EXIT_FAILURE);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }

 private:
  std::vector<std::uint8_t> page(std::int64_t start) const {
    return callMessage("getAssetList", Map{{"collectionId", recents_},
                                           {"start", start},
                                           {"end", start + kPageSize},
                                           {"sort", 0},
                                           {"mediaType", 0}});
  }

  std::string path_;
  Rows rows_;
  std::string recents_;
  std::int64_t listed_ = 0;
  std::int64_t commits_ = 0;
  std::unique_ptr<BenchEngine> engine_;
};

struct Question {
  const char* name;
  std::vector<std::uint8_t> (Library::*message)() const;
};
constexpr Question kQuestions[] = {{"first page", &Library::firstPage},
                                   {"page in the middle", &Library::middlePage},
                                   {"300 galleries", &Library::galleries},
                                   {"gallery's counts", &Library::counts}};

void add(Report& report, Library& library, Library& small, const std::string& assets) {
  for (const Question& question : kQuestions) {
    report.compare(
        {std::string(question.name) + ", " + assets, "library of 1,000", std::nullopt},
        [&library, &question](auto& state) { library.bench(state, (library.*question.message)()); },
        [&small, &question](auto& state) { small.bench(state, (small.*question.message)()); });
  }
  report.measure(
      {"first reply after opening, " + assets, "library of 1,000", std::nullopt},
      [&library] { return library.opening(); }, [&small] { return small.opening(); });
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  BenchArguments arguments(argc, argv);
  const BenchFolder folder;
  const std::string place =
      arguments.files.empty() ? folder / "libraries" : arguments.files.front();
  Library thousand(place, LargeLibraries::kFew);
  Library tenThousand(place, 10'000);
  Library hundredThousand(place, 100'000);
  Library million(place, LargeLibraries::kMany);
  Report report;
  add(report, tenThousand, thousand, "10,000");
  add(report, hundredThousand, thousand, "100,000");
  add(report, million, thousand, "1,000,000");
  return report.run(arguments);
}
