// The program `quorvin import`, beside programs that do as much of its work as they can: cp and
// vipsthumbnail copy the files and make previews, find and stat look at files that are there
// already. Starting and ending the programs is part of it, on both sides.
//
// bench_import_files [OPTION...] PHOTOGRAPH [FOLDER]
//
// The folder, of media, is imported again with 20,000 small files.
#include <spawn.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/bench_engine.h"
#include "bench/report.h"

extern char** environ;

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr int kPhotographs = 40;
constexpr int kFolders = 200;
constexpr int kFilesAFolder = 100;

int statusOf(const std::string& command) {
  std::string shell = "sh";
  std::string option = "-c";
  std::string text = command;
  char* arguments[] = {shell.data(), option.data(), text.data(), nullptr};
  pid_t child = 0;
  int status = 0;
  if (::posix_spawnp(&child, "sh", nullptr, nullptr, arguments, environ) != 0) return -1;
  return ::waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// What fails ends the program: there is nothing to measure then.
void require(bool isDone, const std::string& what) {
  if (isDone) return;
  std::fprintf(stderr, "this failed: %s\n", what.c_str());
  std::exit(EXIT_FAILURE);
}

double secondsOf(const std::string& command, int mostStatus = 0) {
  const auto begin = std::chrono::steady_clock::now();
  const int status = statusOf("{ " + command + "; } >/dev/null 2>&1");
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  require(status >= 0 && status <= mostStatus, command);
  return taken.count();
}

/// The picture with a number behind its end, so that each file is another one.
void copyNumbered(const std::string& picture, const std::string& path, int number) {
  fs::copy_file(picture, path);
  std::ofstream(path, std::ios::binary | std::ios::app) << number;
}

/// An import makes previews before it ends.
std::string importInto(const std::string& library, const std::string& what) {
  return "'" QUORVIN_TOOL "' --library '" + library + "' import " + what;
}

/// In a folder that is not there before.
class Fresh {
 public:
  explicit Fresh(const BenchFolder& folder) : folder_(folder) {}
  std::string operator()() {
    if (!last_.empty()) fs::remove_all(last_);
    last_ = folder_ / ("fresh" + std::to_string(++number_));
    return last_;
  }

 private:
  const BenchFolder& folder_;
  std::string last_;
  int number_ = 0;
};

void measureImports(Report& report, const BenchFolder& folder, const std::string& photograph) {
  const std::string source = folder / "photographs";
  fs::create_directory(source);
  for (int i = 0; i < kPhotographs; ++i) {
    copyNumbered(photograph, source + "/IMG_" + std::to_string(1000 + i) + ".jpg", i);
  }
  Fresh fresh(folder);
  report.measure(
      {"import 40 photographs with previews", "cp -r, vipsthumbnail twice", 0.6},
      [&] { return secondsOf(importInto(fresh(), "'" + source + "'")); },
      [&] {
        const std::string copy = fresh();
        const auto previews = [&copy](const std::string& size) {
          return " && vipsthumbnail '" + copy + "'/IMG_????.jpg --size " + size + " -o %s_" + size +
                 ".jpg";
        };
        return secondsOf("cp -r '" + source + "' '" + copy + "'" + previews("512") +
                         previews("1600"));
      });
}

void measureAgain(Report& report, const BenchFolder& folder, const std::string& photograph,
                  const std::string& media) {
  const std::string small = folder / "small.jpg";
  require(statusOf("vipsthumbnail '" + photograph + "' --size 48 -o '" + small + "[strip]'") == 0,
          "vipsthumbnail");
  const std::string tree = folder / "tree";
  for (int i = 0; i < kFolders; ++i) {
    const std::string each = tree + "/" + std::to_string(i / 20) + "/" + std::to_string(i);
    fs::create_directories(each);
    for (int k = 0; k < kFilesAFolder; ++k) {
      const int number = i * kFilesAFolder + k;
      copyNumbered(small, each + "/IMG_" + std::to_string(number) + ".jpg", number);
    }
  }
  const std::string what = "'" + tree + "'" + (media.empty() ? "" : " '" + media + "'");
  const std::string import = importInto(folder / "library", what);
  // A folder of media may hold files that are none: they are refused each time.
  constexpr int kRefused = 1;
  secondsOf(import, kRefused);
  // What came in just after it was made is read once more.
  secondsOf(import, kRefused);
  report.measure(
      {"import again 20,000 small files", "find -type f -exec stat", 3.0},
      [&] { return secondsOf(import, kRefused); },
      [&] { return secondsOf("find " + what + " -type f -exec stat -c '%s %Y' {} +"); });
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  using namespace quorvin;
  BenchArguments arguments(argc, argv);
  if (arguments.files.empty() || arguments.files.size() > 2) {
    std::fprintf(stderr, "usage: bench_import_files [OPTION...] PHOTOGRAPH [FOLDER]\n");
    return EXIT_FAILURE;
  }
  const BenchFolder folder;
  Report report;
  measureImports(report, folder, arguments.files.front());
  measureAgain(report, folder, arguments.files.front(),
               arguments.files.size() == 2 ? arguments.files.back() : "");
  return report.run(arguments);
}
