// Exports of videos by a media worker, beside the ffmpeg program doing the same.
//
// bench_video [OPTION...] FOLDER, which make_videos.sh has filled
#include <fcntl.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/report.h"
#include "host/locations.h"
#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {
namespace {

struct Work {
  const char* name;
  const char* source;
  VideoPreset preset;
  const char* rivalOptions;  ///< the same settings, in the words of the ffmpeg program
  double goal;
};

constexpr std::array kWorks{
    Work{"export 100 MB as it is", "large.mov", VideoPreset::passthrough, "-c copy", 0.6},
    Work{"export 1080p, highest quality", "scene.mov", VideoPreset::highestQuality,
         "-c:v libx264 -preset veryfast -profile:v high -crf 18 -c:a aac -b:a 192k", 1.1},
    Work{"export 1080p, medium quality", "scene.mov", VideoPreset::mediumQuality,
         "-vf scale=568:320:flags=bicubic -c:v libx264 -preset fast -profile:v main -crf 23 "
         "-maxrate 800k -bufsize 800k -c:a aac -b:a 64k",
         1.1},
};

FileDescriptor opened(const std::string& path, int flags) {
  FileDescriptor file(::open(path.c_str(), flags | O_CLOEXEC, 0644));
  if (!file) {
    std::perror(path.c_str());
    std::exit(EXIT_FAILURE);
  }
  return file;
}

void benchOurs(benchmark::State& state, MediaWorkerPool& pool, const Work& work,
               const std::string& source, const std::string& output) {
  for (auto _ : state) {
    std::filesystem::remove(output);
    const Done exported =
        pool.exportVideo(opened(source, O_RDONLY), opened(output, O_RDWR | O_CREAT | O_EXCL),
                         {work.preset, VideoContainer::quickTime, true, {}}, {});
    if (!exported) {
      state.SkipWithError(exported.error().sentence().c_str());
      break;
    }
  }
}

void benchRival(benchmark::State& state, const Work& work, const std::string& source,
                const std::string& output) {
  const std::string command = "ffmpeg -nostdin -v error -i '" + source + "' " + work.rivalOptions +
                              " -movflags +faststart '" + output + "'";
  for (auto _ : state) {
    std::filesystem::remove(output);
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("ffmpeg failed");
      break;
    }
  }
}

/// What FFmpeg's comparison with the source says, in decibels.
double psnr(const std::string& output, const std::string& source) {
  const std::string command =
      "ffmpeg -nostdin -i '" + output + "' -i '" + source +
      "' -lavfi '[0][1]scale2ref=flags=bicubic[a][b];[a][b]psnr' -f null - 2>&1 "
      "| sed -n 's/.*average:\\([0-9.inf]*\\).*/\\1/p'";
  std::FILE* pipe = ::popen(command.c_str(), "r");
  std::array<char, 32> line{};
  if (pipe == nullptr) return 0;
  const bool read = std::fgets(line.data(), line.size(), pipe) != nullptr;
  ::pclose(pipe);
  return read ? std::strtod(line.data(), nullptr) : 0;
}

void printQuality(const Work& work, const std::string& source, const std::string& ours,
                  const std::string& rivals) {
  if (!std::filesystem::exists(ours) || !std::filesystem::exists(rivals)) return;
  constexpr double kMegabyte = 1e6;
  const auto megabytes = [](const std::string& path) {
    return static_cast<double>(std::filesystem::file_size(path)) / kMegabyte;
  };
  const std::string name = work.name;
  printFound({name + ": file", "ffmpeg", std::nullopt}, megabytes(ours), megabytes(rivals), "MB");
  if (work.preset == VideoPreset::passthrough) return;  // the pictures are the source's own
  printFound({name + ": likeness", "ffmpeg", std::nullopt}, psnr(ours, source),
             psnr(rivals, source), "dB");
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  if (argc < 2) {
    std::fprintf(stderr, "usage: bench_video [OPTION...] FOLDER\n");
    return EXIT_FAILURE;
  }
  const std::string videos = argv[argc - 1];
  const BenchFolder folder;
  MediaWorkerPool pool({.program = mediaWorkerProgram(), .size = 2});
  Report report;
  for (const Work& work : kWorks) {
    const std::string source = videos + "/" + work.source;
    const std::string output = folder / (std::to_string(&work - kWorks.data()) + ".mov");
    const std::string rivals = folder / (std::to_string(&work - kWorks.data()) + "-rival.mov");
    report.compare(
        {work.name, "ffmpeg", work.goal},
        [&pool, &work, source, output](benchmark::State& state) {
          benchOurs(state, pool, work, source, output);
        },
        [&work, source, rivals](benchmark::State& state) {
          benchRival(state, work, source, rivals);
        });
  }
  const int status = report.run(argc - 1, argv);
  for (const Work& work : kWorks) {
    const std::string name = std::to_string(&work - kWorks.data());
    printQuality(work, videos + "/" + work.source, folder / (name + ".mov"),
                 folder / (name + "-rival.mov"));
  }
  return status;
}
