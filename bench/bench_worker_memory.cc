// The most memory that a media worker has for one small rendering of a large picture.
//
// bench_worker_memory PHOTOGRAPH MEGABYTES, of which the latter are what it may take.
#include <fcntl.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/report.h"
#include "host/locations.h"
#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {
namespace {

/// Of the largest of all programs that this one has started and that have ended, in megabytes.
double peakOfWorkers() {
  constexpr double kKilobytes = 1024;
  rusage usage{};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  return static_cast<double>(usage.ru_maxrss) / kKilobytes;
}

bool render(const std::string& photograph) {
  const FileDescriptor file(::open(photograph.c_str(), O_RDONLY | O_CLOEXEC));
  RenderRequest request;
  request.targetWidth = 256;
  request.targetHeight = 256;
  MediaWorkerPool pool({.program = mediaWorkerProgram(), .size = 1});
  const auto image = pool.render(file, request);
  if (!image) std::fprintf(stderr, "%s\n", image.error().sentence().c_str());
  return static_cast<bool>(image);
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  if (argc != 3 || !render(argv[1])) return EXIT_FAILURE;
  const std::string name = std::filesystem::path(argv[1]).filename().string();
  printFound({"worker's peak, 256 px of " + name, "at most", 1}, peakOfWorkers(),
             std::strtod(argv[2], nullptr), "MB");
  return EXIT_SUCCESS;
}
