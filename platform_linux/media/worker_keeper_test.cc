#include "platform_linux/media/worker_keeper.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform_linux/media/media_worker_pool.h"
#include "testing/platform/testing_folder.h"
#include "testing/platform/testing_pool.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

constexpr auto kPictures = WorkerProcess::Kind::pictures;

class ClosedKeeper {
 public:
  ~ClosedKeeper() {
    keeper.close();
    keeper.shutDown();
  }
  WorkerKeeper keeper{QUORVIN_TESTING_WORKER_PROGRAM, std::chrono::seconds(600)};
};

WorkerKeeper::Clock::time_point soon() {
  return WorkerKeeper::Clock::now() + std::chrono::minutes(1);
}

/// So many workers are started, and come to nothing.
void loseWorkers(WorkerKeeper& keeper, int count) {
  for (int i = 0; i < count; ++i) {
    auto worker = keeper.start(kPictures, soon());
    ASSERT_TRUE(worker) << worker.error().reason;
    keeper.giveUp(*std::move(worker), WorkerKeeper::End::died);
  }
}

TEST(WorkerKeeper, LetsWaitWhoeverNeedsAWorkerAfterManyThatDied) {
  ClosedKeeper closed;
  loseWorkers(closed.keeper, RestartPause::kFreeDeaths + 1);
  // The pause is longer than who asks now would wait, and shorter than who asks then does.
  const auto refused = closed.keeper.start(kPictures, WorkerKeeper::Clock::now());
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().sentence(),
            "The media worker program \"" QUORVIN_TESTING_WORKER_PROGRAM
            "\" cannot be started: it ended again and again before it answered.");
  EXPECT_TRUE(children().empty());
  auto worker = closed.keeper.start(kPictures, soon());
  ASSERT_TRUE(worker);
  closed.keeper.keep(*std::move(worker));
}

TEST(WorkerKeeper, LetsNobodyWaitOnceAWorkerDidWell) {
  ClosedKeeper closed;
  loseWorkers(closed.keeper, RestartPause::kFreeDeaths);
  auto worker = closed.keeper.start(kPictures, soon());
  ASSERT_TRUE(worker);
  closed.keeper.keep(*std::move(worker));
  loseWorkers(closed.keeper, 1);
  worker = closed.keeper.start(kPictures, WorkerKeeper::Clock::now());
  ASSERT_TRUE(worker);
  closed.keeper.keep(*std::move(worker));
}

TEST(WorkerKeeper, GivesOutNoWorkerOnceItIsClosed) {
  ClosedKeeper closed;
  auto worker = closed.keeper.start(kPictures, soon());
  ASSERT_TRUE(worker);
  closed.keeper.keep(*std::move(worker));
  closed.keeper.close();
  EXPECT_EQ(closed.keeper.takeIdle(kPictures), nullptr);
  EXPECT_FALSE(closed.keeper.start(kPictures, soon()));
}

/// A worker program that notes each start, and runs only once it is repaired.
class BrokenProgram {
 public:
  BrokenProgram() {
    std::ofstream(path()) << "#!/bin/sh\necho >> '" << folder_ / "starts"
                          << "'\n[ -e '" << folder_ / "repaired"
                          << "' ] && exec " << QUORVIN_TESTING_WORKER_PROGRAM << "\n";
    ::chmod(path().c_str(), S_IRWXU);
  }

  std::string path() const { return folder_ / "program"; }
  void repair() { std::ofstream(folder_ / "repaired"); }
  std::ptrdiff_t starts() const {
    std::ifstream file(folder_ / "starts");
    return std::distance(std::istreambuf_iterator<char>(file), {});
  }

 private:
  TemporaryFolder folder_;
};

TEST(WorkerKeeper, SeldomStartsAProgramThatEndsAtOnceAndUsesItOnceItRuns) {
  BrokenProgram program;
  MediaWorkerOptions options = testingPoolOptions();
  options.program = program.path();
  MediaWorkerPool pool(options);
  std::string last;
  for (int i = 0; i < 200; ++i) {
    const auto result = probe(pool, "answer");
    ASSERT_FALSE(result);
    last = result.error().sentence();
  }
  EXPECT_LE(program.starts(), 20);
  EXPECT_EQ(last, "The media worker program \"" + program.path() +
                      "\" cannot be started: it ended again and again before it answered.");
  program.repair();
  while (!probe(pool, "answer")) std::this_thread::yield();
  const auto starts = program.starts();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(probe(pool, "answer"));
  EXPECT_EQ(program.starts(), starts);
}

}  // namespace
}  // namespace quorvin
