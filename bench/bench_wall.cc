// Small renderings by a worker behind its wall, beside the same code in this process: what the
// process of its own, its sandbox and the way there and back cost.
//
// bench_wall [OPTION...] PHOTOGRAPH...
#include <fcntl.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "bench/report.h"
#include "host/locations.h"
#include "media_worker/libraries.h"
#include "media_worker/render/render.h"
#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {
namespace {

RenderRequest thumbnail() {
  constexpr double kSide = 256;
  RenderRequest request;
  request.targetWidth = kSide;
  request.targetHeight = kSide;
  return request;
}

std::shared_ptr<const FileDescriptor> opened(const std::string& path) {
  auto file = std::make_shared<FileDescriptor>(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!*file) {
    std::perror(path.c_str());
    std::exit(EXIT_FAILURE);
  }
  return file;
}

void benchWorker(benchmark::State& state, MediaWorkerPool& pool, const FileDescriptor& file) {
  for (auto _ : state) {
    const auto image = pool.render(file, thumbnail());
    if (!image) {
      state.SkipWithError(image.error().sentence().c_str());
      break;
    }
  }
}

void benchHere(benchmark::State& state, const FileDescriptor& file) {
  for (auto _ : state) {
    const auto pixels = renderFile(file.get(), thumbnail());
    if (!pixels) {
      state.SkipWithError(pixels.error().sentence().c_str());
      break;
    }
    tidyLibraries();
  }
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  BenchArguments arguments(argc, argv);
  // Before threads start, as the worker does.
  startLibraries();
  loadForLater(false);
  MediaWorkerPool pool({.program = mediaWorkerProgram(), .size = 1});
  Report report;
  for (const std::string& photograph : arguments.files) {
    const auto file = opened(photograph);
    report.compare(
        {"256 px of " + std::filesystem::path(photograph).filename().string(), "in one process",
         1.1},
        [&pool, file](benchmark::State& state) { benchWorker(state, pool, *file); },
        [file](benchmark::State& state) { benchHere(state, *file); });
  }
  return report.run(arguments);
}
