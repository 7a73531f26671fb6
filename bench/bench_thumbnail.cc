// Thumbnails through the C interface, beside libvips in this process.
//
// bench_thumbnail [OPTION...] PHOTOGRAPH...
#include <vips/vips.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/bench_import.h"
#include "bench/report.h"

namespace quorvin {
namespace {

constexpr int kSide = 256;
constexpr int kEveryProcessor = 0;

void benchThumbnail(benchmark::State& state, BenchEngine& engine, const std::string& asset) {
  const auto message = callMessage("getThumbnail", Map{{"assetId", asset},
                                                       {"width", kSide},
                                                       {"height", kSide},
                                                       {"contentMode", 0},
                                                       {"jpegFormat", true}});
  for (auto _ : state) {
    if (engine.send(message) < 1000) {
      state.SkipWithError("this is no thumbnail");
      break;
    }
  }
}

bool makeThumbnail(const std::string& photograph) {
  VipsImage* image = nullptr;
  if (vips_thumbnail(photograph.c_str(), &image, kSide, "height", kSide, nullptr) != 0)
    return false;
  void* bytes = nullptr;
  std::size_t size = 0;
  const int status = vips_jpegsave_buffer(image, &bytes, &size, "Q", 100, nullptr);
  g_object_unref(image);
  g_free(bytes);
  return status == 0;
}

void benchVips(benchmark::State& state, const std::string& photograph, int threads) {
  vips_concurrency_set(threads);
  for (auto _ : state) {
    if (!makeThumbnail(photograph)) {
      state.SkipWithError(vips_error_buffer());
      break;
    }
  }
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  if (VIPS_INIT(argv[0]) != 0) return EXIT_FAILURE;
  vips_cache_set_max(0);

  BenchArguments arguments(argc, argv);
  const BenchFolder folder;
  std::vector<std::unique_ptr<BenchEngine>> engines;
  Report report;
  for (const std::string& photograph : arguments.files) {
    const std::string library = folder / std::to_string(engines.size());
    const std::string asset = importAlone(photograph, library);
    BenchEngine& engine = *engines.emplace_back(std::make_unique<BenchEngine>(library));
    const auto ours = [&engine, asset](benchmark::State& state) {
      benchThumbnail(state, engine, asset);
    };
    const std::string work = "256 px of " + std::filesystem::path(photograph).filename().string();
    report.compare({work, "libvips", 1.2}, ours, [photograph](benchmark::State& state) {
      benchVips(state, photograph, kEveryProcessor);
    });
    report.compare({work, "libvips, one thread", 1.2}, ours,
                   [photograph](benchmark::State& state) { benchVips(state, photograph, 1); });
  }
  return report.run(arguments);
}
