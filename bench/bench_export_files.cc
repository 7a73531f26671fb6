// Photographs to files as they are stored, through the C interface, beside the program cp; and the
// memory that copies of small and large originals take.
//
// bench_export_files [OPTION...] PHOTOGRAPH
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/bench_import.h"
#include "bench/report.h"
#include "platform_linux/library/fetch/asset_files.h"
#include "platform_linux/resources/linux_asset_resource_manager.h"

extern char** environ;

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kMegabyte = 1'000'000;

/// The same picture with so many bytes behind its end, which nobody reads but who copies the file.
void makeLonger(const std::string& photograph, std::uintmax_t size, const std::string& path) {
  fs::copy_file(photograph, path);
  std::ofstream file(path, std::ios::binary | std::ios::app);
  const std::string bytes(kMegabyte, '\x5A');
  for (std::uintmax_t done = fs::file_size(photograph); done < size; done += bytes.size()) {
    file.write(bytes.data(), static_cast<std::streamsize>(std::min(kMegabyte, size - done)));
  }
}

void benchExport(benchmark::State& state, BenchEngine& engine, const std::string& asset) {
  const auto message = callMessage(
      "getImageUrl", Map{{"assetId", asset}, {"convertJpeg", false}, {"mediumQuality", false}});
  for (auto _ : state) {
    if (engine.send(message) < 20) {
      state.SkipWithError("this is no file");
      break;
    }
  }
}

bool copyByProgram(const std::string& from, const std::string& to) {
  std::string name = "cp";
  std::string source = from;
  std::string target = to;
  char* arguments[] = {name.data(), source.data(), target.data(), nullptr};
  pid_t child = 0;
  int status = 0;
  return ::posix_spawnp(&child, "cp", nullptr, nullptr, arguments, environ) == 0 &&
         ::waitpid(child, &status, 0) == child && status == 0;
}

void benchCopy(benchmark::State& state, const std::string& from, const std::string& to) {
  for (auto _ : state) {
    if (!copyByProgram(from, to)) {
      state.SkipWithError("cp failed");
      break;
    }
  }
}

/// Files without a library, which may all be read.
class LooseFiles final : public AssetFiles {
 public:
  Result<StoredResources> storedResources(const std::string&) override { return StoredResources(); }
  Done accessTo(const StoredResource&) override { return Null{}; }
  Result<TimeMap> timeMap(const std::string&) override { return TimeMap(); }
};

/// The most memory that this process has had since the last call, in kilobytes.
long peakMemory() {
  std::ifstream status("/proc/self/status");
  long peak = 0;
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) peak = std::atol(line.c_str() + 6);
  }
  std::ofstream("/proc/self/clear_refs") << "5";
  return peak;
}

bool printMemoryOfCopy(const std::string& photograph, std::uintmax_t size,
                       const BenchFolder& folder) {
  const std::string original = folder / "original";
  const std::string copy = folder / "copy";
  makeLonger(photograph, size, original);
  LooseFiles files;
  TemporaryDirectory temporary(folder / "temporary", "");
  LinuxAssetResourceManager resources(files, temporary);
  const auto resource = std::make_shared<const StoredResource>(
      PHAssetResourceType::photo, "original", "public.jpeg",
      HeldFile{std::make_shared<const Folder>(Folder::open(fs::path(original).parent_path())),
               "original"},
      original, 1);
  peakMemory();
  const long before = peakMemory();
  std::promise<bool> done;
  resources.writeDataForAssetResource(
      resource, copy, nullptr,
      [&done](const std::optional<NSError>& error) { done.set_value(!error); });
  const bool isDone = done.get_future().get() && fs::file_size(copy) == size;
  constexpr double kMostMemory = 1000;
  printFound({"memory of copying " + std::to_string(size / kMegabyte) + " MB", "at most", 1},
             static_cast<double>(peakMemory() - before), kMostMemory, "kB");
  fs::remove(original);
  fs::remove(copy);
  return isDone;
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  if (argc < 2 || argv[argc - 1][0] == '-') {
    std::fprintf(stderr, "usage: %s [OPTION...] PHOTOGRAPH\n", argv[0]);
    return EXIT_FAILURE;
  }
  const std::string photograph = argv[argc - 1];

  const BenchFolder folder;
  std::vector<std::unique_ptr<BenchEngine>> engines;
  Report report;
  for (const std::uintmax_t size : {12 * kMegabyte, 100 * kMegabyte}) {
    const std::string megabytes = std::to_string(size / kMegabyte);
    const std::string name = "export" + megabytes + ".jpg";
    const std::string file = folder / name;
    makeLonger(photograph, size, file);
    const std::string library = folder / ("library" + megabytes);
    const std::string asset = importAlone(file, library);
    BenchEngine& engine = *engines.emplace_back(std::make_unique<BenchEngine>(library));
    report.compare(
        {megabytes + " MB of a photograph to a file", "cp", 1.0},
        [&engine, asset](benchmark::State& state) { benchExport(state, engine, asset); },
        [file, to = folder / ("copied-" + name)](benchmark::State& state) {
          benchCopy(state, file, to);
        });
  }
  const int status = report.run(argc - 1, argv);
  const bool areCopied = printMemoryOfCopy(photograph, 12 * kMegabyte, folder) &&
                         printMemoryOfCopy(photograph, 500 * kMegabyte, folder);
  return areCopied ? status : EXIT_FAILURE;
}
