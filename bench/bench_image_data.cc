// Whole images through the C interface: stored bytes of a JPEG beside reading its file, and HEIC as
// JPEG beside the programs that convert it.
//
// bench_image_data [OPTION...] PHOTOGRAPH...
#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/bench_import.h"
#include "bench/report.h"

extern char** environ;

namespace quorvin {
namespace {

std::vector<std::uint8_t> imageDataCall(const std::string& asset, bool convertJpeg) {
  return callMessage("getImageData", Map{{"assetId", asset}, {"convertJpeg", convertJpeg}});
}

void benchImageData(benchmark::State& state, BenchEngine& engine,
                    const std::vector<std::uint8_t>& call, std::size_t leastSize) {
  for (auto _ : state) {
    if (engine.send(call) < leastSize) {
      state.SkipWithError("this is no image");
      break;
    }
  }
}

bool readWhole(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (file < 0 || ::fstat(file, &status) != 0) return false;
  const auto size = static_cast<std::size_t>(status.st_size);
  const std::unique_ptr<char[]> bytes(new char[size]);
  std::size_t done = 0;
  for (ssize_t count = 1; done < size && count > 0; done += static_cast<std::size_t>(count)) {
    count = ::read(file, bytes.get() + done, size - done);
    if (count < 0) break;
  }
  benchmark::DoNotOptimize(bytes.get());
  ::close(file);
  return done == size;
}

void benchRead(benchmark::State& state, const std::string& path) {
  for (auto _ : state) {
    if (!readWhole(path)) {
      state.SkipWithError("the file cannot be read");
      break;
    }
  }
}

/// The same picture with so many bytes behind its end that the file is as large as a good camera's.
std::string madeLonger(const std::string& photograph, const BenchFolder& folder) {
  constexpr std::uintmax_t kSize = 12'000'000;
  std::string path = folder / std::filesystem::path(photograph).filename().string();
  std::filesystem::copy_file(photograph, path);
  const std::uintmax_t size = std::filesystem::file_size(path);
  std::ofstream(path, std::ios::binary | std::ios::app)
      << std::string(size < kSize ? kSize - size : 0, '\x5A');
  return path;
}

/// Runs the program to its end, silently.
bool runProgram(std::vector<std::string> arguments) {
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& each : arguments) pointers.push_back(each.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  const int error =
      ::posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  return error == 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) &&
         WEXITSTATUS(status) == 0;
}

void benchProgram(benchmark::State& state, const std::vector<std::string>& arguments) {
  for (auto _ : state) {
    if (!runProgram(arguments)) {
      state.SkipWithError("the program failed");
      break;
    }
  }
}

/// Bytes of this process's memory: now, and at most since the last `forgetPeak`.
std::size_t memoryOf(const char* line) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::size_t kibibytes = 0;
    if (word == line && status >> kibibytes) return kibibytes << 10;
  }
  return 0;
}
void forgetPeak() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

/// The most memory that the reply takes, as a multiple of the file. Before there is any to reuse.
double peakOf(BenchEngine& engine, const std::vector<std::uint8_t>& call, std::size_t size) {
  forgetPeak();
  const std::size_t before = memoryOf("VmRSS:");
  engine.send(call);
  return static_cast<double>(memoryOf("VmHWM:") - before) / static_cast<double>(size);
}

/// What all benchmarks share, kept until they have run.
struct Subject {
  std::string photograph;
  std::unique_ptr<BenchEngine> engine;
  std::string asset;
};

constexpr double kConversionGoal = 0.35;

void compareConversion(Report& report, const Subject& subject, const BenchFolder& folder) {
  const std::string work =
      "JPEG of " + std::filesystem::path(subject.photograph).filename().string();
  const std::string made = folder / "made.jpg";
  const auto call = imageDataCall(subject.asset, true);
  BenchEngine& engine = *subject.engine;
  const auto ours = [&engine, call](benchmark::State& state) {
    constexpr std::size_t kLeastSize = 100'000;
    benchImageData(state, engine, call, kLeastSize);
  };
  report.compare({work, "heif-convert", kConversionGoal}, ours,
                 [photograph = subject.photograph, made](benchmark::State& state) {
                   benchProgram(state, {"heif-convert", "-q", "100", photograph, made});
                 });
  report.compare({work, "vips copy", kConversionGoal}, ours,
                 [photograph = subject.photograph, made](benchmark::State& state) {
                   benchProgram(state, {"vips", "copy", photograph, made + "[Q=100]"});
                 });
}

void compareStoredBytes(Report& report, const Subject& subject) {
  const std::string& photograph = subject.photograph;
  const std::string name = std::filesystem::path(photograph).filename().string();
  const auto call = imageDataCall(subject.asset, false);
  BenchEngine& engine = *subject.engine;
  report.compare(
      {"stored bytes of " + name + ", 12 MB", "read", 1.5},
      [&engine, call, size = std::filesystem::file_size(photograph)](benchmark::State& state) {
        benchImageData(state, engine, call, size);
      },
      [photograph](benchmark::State& state) { benchRead(state, photograph); });
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  BenchArguments arguments(argc, argv);
  const BenchFolder folder;
  std::vector<std::unique_ptr<Subject>> subjects;
  std::vector<double> peaks;
  Report report;
  for (const std::string& given : arguments.files) {
    const std::string extension = std::filesystem::path(given).extension().string();
    const bool isHeic = extension == ".heic" || extension == ".HEIC";
    const std::string photograph = isHeic ? given : madeLonger(given, folder);
    const std::string library = folder / std::to_string(subjects.size());
    const std::string asset = importAlone(photograph, library);
    subjects.push_back(std::make_unique<Subject>(
        Subject{photograph, std::make_unique<BenchEngine>(library), asset}));
    const Subject& subject = *subjects.back();
    if (isHeic) {
      compareConversion(report, subject, folder);
    } else {
      compareStoredBytes(report, subject);
      peaks.push_back(peakOf(*subject.engine, imageDataCall(asset, false),
                             std::filesystem::file_size(photograph)));
    }
  }
  const int status = report.run(arguments);
  for (const double peak : peaks) {
    printFound({"peak memory of stored bytes", "twice the file", 1}, peak, 2, "files");
  }
  return status;
}
