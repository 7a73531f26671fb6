// Thumbnails that previews serve, beside libvips, which has the originals alone.
//
// bench_previews [OPTION...] PHOTOGRAPH...
#include <vips/vips.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/bench_import.h"
#include "bench/report.h"

namespace quorvin {
namespace {

constexpr int kGrid = 500;

/// A rendering's longer side, in pixels, and how long ours may take beside libvips.
struct Size {
  int side;
  std::optional<double> goal;
  std::optional<double> goalHeif;
};
constexpr Size kSizes[] = {{256, 0.05, 0.05}, {512, 0.05, 0.01}, {1080, {}, {}}};

std::vector<std::uint8_t> thumbnailCall(const std::string& asset, int side) {
  return callMessage("getThumbnail", Map{{"assetId", asset},
                                         {"width", side},
                                         {"height", side},
                                         {"contentMode", 0},
                                         {"jpegFormat", true}});
}

void benchThumbnail(benchmark::State& state, BenchEngine& engine, const std::string& asset,
                    int side) {
  const auto message = thumbnailCall(asset, side);
  for (auto _ : state) {
    if (engine.send(message) < 1000) {
      state.SkipWithError("this is no thumbnail");
      break;
    }
  }
}

void benchVips(benchmark::State& state, const std::string& photograph, int side) {
  for (auto _ : state) {
    VipsImage* image = nullptr;
    void* bytes = nullptr;
    std::size_t size = 0;
    if (vips_thumbnail(photograph.c_str(), &image, side, "height", side, nullptr) != 0 ||
        vips_jpegsave_buffer(image, &bytes, &size, "Q", 100, nullptr) != 0) {
      state.SkipWithError(vips_error_buffer());
    }
    g_clear_object(&image);
    g_free(bytes);
  }
}

struct Unref {
  void operator()(VipsImage* image) const { g_object_unref(image); }
};
using ImagePtr = std::unique_ptr<VipsImage, Unref>;

/// How close the thumbnail comes to the whole picture, made as small by libvips. Decibels.
double psnr(const ByteBuffer& thumbnail, const ByteBuffer& whole) {
  const ImagePtr served(
      vips_image_new_from_buffer(thumbnail.data(), thumbnail.size(), "", nullptr));
  const ImagePtr header(vips_image_new_from_buffer(whole.data(), whole.size(), "", nullptr));
  if (!served || !header) return 0;
  // Without a profile of its own it would be converted from one sRGB to another.
  const bool hasProfile = vips_image_get_typeof(header.get(), VIPS_META_ICC_NAME) != 0;
  auto* const bytes = const_cast<std::uint8_t*>(whole.data());
  VipsImage* made = nullptr;
  if (vips_thumbnail_buffer(bytes, whole.size(), &made, served->Xsize, "height", served->Ysize,
                            "size", VIPS_SIZE_FORCE, hasProfile ? "export_profile" : nullptr,
                            "srgb", nullptr) != 0) {
    return 0;
  }
  const ImagePtr truth(made);
  VipsImage* subtracted = nullptr;
  if (vips_subtract(served.get(), truth.get(), &subtracted, nullptr) != 0) return 0;
  const ImagePtr difference(subtracted);
  VipsImage* multiplied = nullptr;
  if (vips_multiply(subtracted, subtracted, &multiplied, nullptr) != 0) return 0;
  const ImagePtr square(multiplied);
  double mean = 0;
  return vips_avg(multiplied, &mean, nullptr) == 0 ? 10 * std::log10(255.0 * 255.0 / mean) : 0;
}

ByteBuffer thumbnail(BenchEngine& engine, const std::string& asset, int side) {
  return *engine
              .call("getThumbnail", Map{{"assetId", asset},
                                        {"width", side},
                                        {"height", side},
                                        {"contentMode", 0},
                                        {"jpegFormat", true}})
              .as<ByteBuffer>();
}

/// Files of one picture, each of other bytes.
std::vector<std::string> makeGrid(const std::string& photograph, const BenchFolder& folder) {
  std::filesystem::create_directory(folder / "grid");
  std::vector<std::string> files;
  for (int i = 0; i < kGrid; ++i) {
    files.push_back(folder / "grid/" + std::to_string(i) + ".jpg");
    std::filesystem::copy_file(photograph, files.back());
    std::ofstream(files.back(), std::ios::binary | std::ios::app) << i;
  }
  return files;
}

double secondsOf(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

void compareGrid(Report& report, const std::string& photograph, const BenchFolder& folder) {
  const auto files = makeGrid(photograph, folder);
  const std::string library = folder / "grid-library";
  const auto assets = importAll(folder / "grid", library);
  makePreviewsOf(library);
  BenchEngine engine(library);
  std::vector<std::vector<std::uint8_t>> calls;
  for (const std::string& asset : assets) calls.push_back(thumbnailCall(asset, 256));
  std::string command = "vipsthumbnail -s 256x256 -o '" + (folder / "out-%s.jpg[Q=100]") + "'";
  for (const std::string& file : files) command += " '" + file + "'";
  report.measure(
      {"500 thumbnails of 256 px at once", "vipsthumbnail", 0.02},
      [&] { return secondsOf([&] { engine.sendAll(calls); }); },
      [&] {
        return secondsOf([&] {
          if (std::system(command.c_str()) != 0) std::exit(EXIT_FAILURE);
        });
      },
      1);
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  if (VIPS_INIT(argv[0]) != 0) return EXIT_FAILURE;
  vips_cache_set_max(0);
  vips_concurrency_set(1);

  BenchArguments arguments(argc, argv);
  const BenchFolder folder;
  std::vector<std::unique_ptr<BenchEngine>> engines;
  Report report;
  for (const std::string& photograph : arguments.files) {
    const std::string library = folder / std::to_string(engines.size());
    const std::string asset = importAlone(photograph, library);
    BenchEngine& engine = *engines.emplace_back(std::make_unique<BenchEngine>(library));
    const std::string name = std::filesystem::path(photograph).filename().string();
    const bool isHeif = !name.ends_with(".jpg");
    makePreviewsOf(library);
    const Value whole = engine.call("getImageData", Map{{"assetId", asset}, {"convertJpeg", true}});
    for (const auto& [side, goal, goalHeif] : kSizes) {
      const ByteBuffer served = thumbnail(engine, asset, side);
      std::fprintf(stderr, "%d px of %s: %.1f dB, %zu bytes\n", side, name.c_str(),
                   psnr(served, *whole.as<ByteBuffer>()), served.size());
      report.compare(
          {std::to_string(side) + " px of " + name + ", preview made", "libvips",
           isHeif ? goalHeif : goal},
          [&engine, asset, side = side](benchmark::State& state) {
            benchThumbnail(state, engine, asset, side);
          },
          [photograph, side = side](benchmark::State& state) {
            benchVips(state, photograph, side);
          });
    }
  }
  compareGrid(report, arguments.files.front(), folder);
  return report.run(arguments);
}
