// The real worker, shut in: it does all that it did before, and nobody finds a way out of it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "testing/media/generated_media.h"
#include "testing/platform/emulation.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;
using Kind = WorkerProcess::Kind;

struct MediaWorkerIsolation : testing::Test {
  void SetUp() override {
#ifdef QUORVIN_SANITIZED
    GTEST_SKIP() << "sanitizers need what the isolation forbids";
#endif
  }

  static MediaWorkerOptions options() {
    const char* program = std::getenv("QUORVIN_MEDIA_WORKER");
    return {.program = program != nullptr ? program : QUORVIN_MEDIA_WORKER_PROGRAM, .size = 1};
  }

  void doEverythingWith(const fs::path& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const auto probe = pool.probe(file, path.filename());
    if (!probe) return;
    RenderRequest request{.kind = probe->kind, .targetWidth = 256, .targetHeight = 256};
    if (const auto rendered = pool.render(file, request)) {
      EXPECT_TRUE(pool.encode(**rendered, ImageFormat::jpeg, 0.9));
      EXPECT_TRUE(pool.encode(**rendered, ImageFormat::png, 1));
    }
    if (probe->kind != MediaKind::video) return;
    for (const VideoPreset preset :
         {VideoPreset::passthrough, VideoPreset::highestQuality, VideoPreset::mediumQuality}) {
      EXPECT_TRUE(pool.exportContainers(file, preset));
      const VideoExportRequest wanted{.preset = preset};
      EXPECT_TRUE(pool.exportVideo(file, makeMemoryFile(0), wanted, {})) << path;
      ++exports;
    }
  }

  MediaWorkerPool pool{options()};
  int exports = 0;
};

std::map<std::string, std::string> statusOf(const fs::path& task) {
  std::map<std::string, std::string> fields;
  std::ifstream file(task / "status");
  for (std::string name, value; file >> name && std::getline(file >> std::ws, value);) {
    fields[name] = value;
  }
  return fields;
}

TEST_F(MediaWorkerIsolation, LeavesAnOrdinaryWorkerAGibibyteOfAddresses) {
  if (isEmulated()) GTEST_SKIP() << "qemu-user sets no limit of the address space";
  for (const Kind kind : {Kind::pictures, Kind::exports}) ASSERT_TRUE(pool.describe(kind));
  ASSERT_EQ(children().size(), 2U);
  for (const pid_t worker : children()) {
    std::ifstream file("/proc/" + std::to_string(worker) + "/limits");
    const std::string limits{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(limits.find("Max address space         1073741824           1073741824"),
              std::string::npos)
        << limits;
  }
}

TEST_F(MediaWorkerIsolation, HoldsForEachThread) {
  if (isEmulated()) GTEST_SKIP() << "qemu-user filters no calls and has a thread of its own";
  for (const Kind kind : {Kind::pictures, Kind::exports}) ASSERT_TRUE(pool.describe(kind));
  ASSERT_EQ(children().size(), 2U);
  for (const pid_t worker : children()) {
    const fs::path process = "/proc/" + std::to_string(worker);
    for (const auto& task : fs::directory_iterator(process / "task")) {
      auto status = statusOf(task.path());
      EXPECT_EQ(status["Seccomp:"], "2");
      EXPECT_EQ(status["NoNewPrivs:"], "1");
      EXPECT_EQ(status["CapEff:"], "0000000000000000");
      EXPECT_EQ(status["CapPrm:"], "0000000000000000");
    }
    std::ifstream score(process / "oom_score_adj");
    int value = 0;
    score >> value;
    EXPECT_EQ(value, 1000);
  }
}

TEST_F(MediaWorkerIsolation, EndsWithTheHostWhateverItIsDoing) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t host = ::fork();
  if (host == 0) {
    MediaWorkerPool theirs(options());
    if (!theirs.describe(Kind::pictures)) ::_exit(1);
    const pid_t worker = children().at(0);
    // It will not get round to noticing anything by itself.
    ::kill(worker, SIGSTOP);
    if (::write(ends[1], &worker, sizeof worker) != sizeof worker) ::_exit(1);
    for (;;) ::pause();
  }
  pid_t worker = 0;
  ASSERT_EQ(::read(ends[0], &worker, sizeof worker), static_cast<ssize_t>(sizeof worker));
  const FileDescriptor process(::pidfd_open(worker, 0));
  ASSERT_TRUE(process);
  ::kill(host, SIGKILL);
  pollfd ended{process.get(), POLLIN, 0};
  EXPECT_EQ(::poll(&ended, 1, 10'000), 1);
  EXPECT_EQ(::waitpid(host, nullptr, 0), host);
  for (const int end : ends) ::close(end);
}

TEST_F(MediaWorkerIsolation, SaysOfWhichLayersItIsMade) {
  if (isEmulated()) GTEST_SKIP() << "qemu-user filters no calls and has no Landlock";
  const auto described = pool.describe(Kind::pictures);
  ASSERT_TRUE(described) << described.error().sentence();
  EXPECT_EQ(described->layers.size(), 4U);
  for (const NamedText& layer : described->layers) EXPECT_EQ(layer.text, "") << layer.name;
  EXPECT_EQ(described->libraries.size(), 4U);
  for (const NamedText& library : described->libraries) EXPECT_FALSE(library.text.empty());
}

TEST_F(MediaWorkerIsolation, RefusesNothingThatMediaNeed) {
  std::vector<fs::path> folders{kGoodMedia, kBadMedia};
  if (const char* real = std::getenv("QUORVIN_TEST_MEDIA")) folders.emplace_back(real);
  for (const fs::path& folder : folders) {
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (entry.is_regular_file()) doEverythingWith(entry.path());
    }
  }
  EXPECT_GT(exports, 10);
  for (const Kind kind : {Kind::pictures, Kind::exports}) {
    const auto described = pool.describe(kind);
    ASSERT_TRUE(described);
    EXPECT_EQ(described->refusedCalls, std::vector<std::string>());
  }
}

}  // namespace
}  // namespace quorvin
