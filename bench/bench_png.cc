// PNG files by a media worker, beside libvips in this process at zlib's usual level.
//
// bench_png [OPTION...] PHOTOGRAPH...
#include <fcntl.h>
#include <unistd.h>
#include <vips/vips.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/report.h"
#include "host/locations.h"
#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {
namespace {

constexpr double kSide = 1024;
constexpr double kTimeGoal = 0.3;
constexpr double kSizeGoal = 0.9;
constexpr int kUsualLevel = 6;

[[noreturn]] void giveUp(const std::string& reason) {
  std::fprintf(stderr, "%s\n", reason.c_str());
  std::exit(EXIT_FAILURE);
}

struct Subject {
  std::string name;
  std::shared_ptr<const RenderedImage> image;
  std::vector<std::uint8_t> pixels;
};

Subject rendered(MediaWorkerPool& pool, const std::string& photograph) {
  const FileDescriptor file(::open(photograph.c_str(), O_RDONLY | O_CLOEXEC));
  RenderRequest request;
  request.targetWidth = kSide;
  request.targetHeight = kSide;
  auto image = pool.render(file, request);
  if (!image) giveUp(image.error().sentence());
  std::vector<std::uint8_t> pixels(
      static_cast<std::size_t>((*image)->width() * (*image)->height() * (*image)->channels()));
  if (::pread((*image)->fd(), pixels.data(), pixels.size(), 0) !=
      static_cast<ssize_t>(pixels.size())) {
    giveUp("the pixels cannot be read");
  }
  return {std::filesystem::path(photograph).filename().string(), *image, std::move(pixels)};
}

/// The size of the file; 0 when that failed.
std::size_t encodeOurs(MediaWorkerPool& pool, const Subject& subject) {
  const auto file = pool.encode(*subject.image, ImageFormat::png, 1);
  return file ? file->size() : 0;
}

std::size_t encodeByVips(const Subject& subject) {
  VipsImage* image = vips_image_new_from_memory(
      subject.pixels.data(), subject.pixels.size(), static_cast<int>(subject.image->width()),
      static_cast<int>(subject.image->height()), subject.image->channels(), VIPS_FORMAT_UCHAR);
  if (image == nullptr) return 0;
  image->Type = VIPS_INTERPRETATION_sRGB;
  void* bytes = nullptr;
  std::size_t size = 0;
  const int status = vips_pngsave_buffer(image, &bytes, &size, "compression", kUsualLevel, nullptr);
  g_object_unref(image);
  g_free(bytes);
  return status == 0 ? size : 0;
}

template <class Encode>
void benchPng(benchmark::State& state, Encode encode) {
  for (auto _ : state) {
    if (encode() == 0) {
      state.SkipWithError("the picture cannot be encoded");
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
  vips_concurrency_set(1);
  BenchArguments arguments(argc, argv);
  MediaWorkerPool pool({.program = mediaWorkerProgram(), .size = 1});
  std::vector<std::unique_ptr<Subject>> subjects;
  Report report;
  for (const std::string& photograph : arguments.files) {
    const Subject& subject =
        *subjects.emplace_back(std::make_unique<Subject>(rendered(pool, photograph)));
    report.compare(
        {"PNG of 1024 px of " + subject.name, "libvips, level 6", kTimeGoal},
        [&](auto& state) { benchPng(state, [&] { return encodeOurs(pool, subject); }); },
        [&](auto& state) { benchPng(state, [&] { return encodeByVips(subject); }); });
  }
  const int status = report.run(arguments);
  for (const auto& subject : subjects) {
    constexpr double kKilobyte = 1000;
    printFound({"size of that PNG of " + subject->name, "libvips, level 6", kSizeGoal},
               static_cast<double>(encodeOurs(pool, *subject)) / kKilobyte,
               static_cast<double>(encodeByVips(*subject)) / kKilobyte, "kB");
  }
  return status;
}
