// Thumbnails of originals by a media worker, as they are made where no preview is there yet, beside
// libvips in this process.
//
// bench_thumbnail [OPTION...] PHOTOGRAPH...
#include <fcntl.h>
#include <vips/vips.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "bench/report.h"
#include "host/locations.h"
#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {
namespace {

constexpr int kEveryProcessor = 0;

/// A rendering's longer side, in pixels, and how long ours may take beside libvips on one thread.
/// The smallest is what cameras embed.
struct Size {
  int side;
  double goal;
};
/// Of a 512-pixel rendering of a HEIC.
constexpr double kHeicGoal = 0.25;
constexpr Size kSizes[] = {{160, 0.75}, {256, 0.72}, {512, 0.75}, {1024, 0.65}};

FileDescriptor opened(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) {
    std::perror(path.c_str());
    std::exit(EXIT_FAILURE);
  }
  return file;
}

void benchThumbnail(benchmark::State& state, MediaWorkerPool& pool, const std::string& photograph,
                    int side) {
  RenderRequest request;
  request.targetWidth = side;
  request.targetHeight = side;
  for (auto _ : state) {
    const auto image = pool.render(opened(photograph), request);
    if (!image || !pool.encode(**image, ImageFormat::jpeg, 1)) {
      state.SkipWithError("this is no thumbnail");
      break;
    }
  }
}

bool makeThumbnail(const std::string& photograph, int side) {
  VipsImage* image = nullptr;
  if (vips_thumbnail(photograph.c_str(), &image, side, "height", side, nullptr) != 0) return false;
  void* bytes = nullptr;
  std::size_t size = 0;
  const int status = vips_jpegsave_buffer(image, &bytes, &size, "Q", 100, nullptr);
  g_object_unref(image);
  g_free(bytes);
  return status == 0;
}

void benchVips(benchmark::State& state, const std::string& photograph, int side, int threads) {
  vips_concurrency_set(threads);
  for (auto _ : state) {
    if (!makeThumbnail(photograph, side)) {
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
  MediaWorkerPool pool({.program = mediaWorkerProgram(), .size = 1});
  Report report;
  for (const std::string& photograph : arguments.files) {
    const std::string name = std::filesystem::path(photograph).filename().string();
    for (const auto& [side, goal] : kSizes) {
      const auto ours = [&pool, photograph, side = side](benchmark::State& state) {
        benchThumbnail(state, pool, photograph, side);
      };
      const auto compare = [&, side = side](const char* rival, int threads,
                                            std::optional<double> most) {
        report.compare({"cold " + std::to_string(side) + " px of " + name, rival, most}, ours,
                       [photograph, side, threads](benchmark::State& state) {
                         benchVips(state, photograph, side, threads);
                       });
      };
      const bool isHeic = name.ends_with(".heic") || name.ends_with(".HEIC");
      compare("libvips, one thread", 1, isHeic && side == 512 ? kHeicGoal : goal);
      if (side == 1024) compare("libvips", kEveryProcessor, std::nullopt);
    }
  }
  return report.run(arguments);
}
