// Engines that end while calls of all kinds are under way: each call is answered once, nothing
// calls back afterwards, and nothing of the engine is left. QUORVIN_STRESS_ENGINES is their number.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "testing/engine/channel.h"
#include "testing/platform/testing_processes.h"
#include "tests/stress/any_calls.h"

namespace quorvin {
namespace {

constexpr int kCallsOfAnEngine = 12;

int engineCount() {
  const char* count = std::getenv("QUORVIN_STRESS_ENGINES");
#ifdef QUORVIN_SANITIZED  // everything is many times slower
  constexpr int kShort = 20;
#else
  constexpr int kShort = 50;
#endif
  return count == nullptr ? kShort : std::atoi(count);
}

/// What this process holds of the system.
struct Holdings {
  std::size_t descriptors = openDescriptors();
  std::size_t threads = threadCount();
  std::vector<pid_t> processes = children();  ///< zombies too

  static std::size_t threadCount() {
    const std::filesystem::directory_iterator listed("/proc/self/task");
    return static_cast<std::size_t>(std::distance(listed, {}));
  }
  friend bool operator==(const Holdings&, const Holdings&) = default;
};

/// Kilobytes that are in memory.
std::int64_t memory() {
  std::ifstream status("/proc/self/status");
  std::string word;
  std::int64_t kilobytes = 0;
  while (status >> word && word != "VmRSS:") {
  }
  status >> kilobytes;
  return kilobytes;
}

class EngineEnds : public testing::Test {
 protected:
  void SetUp() override { copyImportedLibrary(engines_.libraryPath()); }

  /// One engine, from its beginning to its end.
  void openAndEnd(StressCalls& calls) {
    EnginePointer engine = engines_.open();
    const std::size_t first = answers_.size();
    for (int i = 0; i < kCallsOfAnEngine; ++i) {
      StressCall call = calls.any({});
      answers_.push_back(&engines_.call(engine.get(), call.method, call.arguments));
    }
    for (int runs = upTo(8); runs > 0; --runs) quorvin_engine_run(engine.get(), upTo(20));
    for (std::size_t i = first; i < answers_.size(); ++i) answered_ += answers_[i]->count;
    engine.reset();
    for (std::size_t i = first; i < answers_.size(); ++i) {
      EXPECT_EQ(answers_[i]->count, 1);
      answers_[i]->message = Bytes();
    }
  }

  int upTo(int limit) { return std::uniform_int_distribution(0, limit)(random_); }

  Engines engines_;
  std::mt19937 random_{20240229};
  std::vector<Answer*> answers_;
  int answered_ = 0;  ///< before their engine ended
};

TEST_F(EngineEnds, WithCallsUnderWayLeaveNothing) {
  // Its own engine ends before anything is counted.
  StressCalls calls = [] {
    Channel channel;
    return StressCalls(channel);
  }();
  // What libraries keep for good is there after a few.
  for (int i = 0; i < 5; ++i) openAndEnd(calls);
  const Holdings before;
  const std::int64_t memoryBefore = memory();
  for (int i = 0; i < engineCount(); ++i) {
    openAndEnd(calls);
    const Holdings after;
    ASSERT_EQ(after.processes, before.processes) << "after engine " << i;
    ASSERT_EQ(after.threads, before.threads) << "after engine " << i;
    ASSERT_EQ(after.descriptors, before.descriptors) << "after engine " << i;
  }
#ifndef QUORVIN_SANITIZED  // which keep what was freed
  constexpr std::int64_t kKilobytesOfHeaps = 64 * 1024;
  EXPECT_LT(memory() - memoryBefore, kKilobytesOfHeaps);
#endif
  RecordProperty("kilobytes", static_cast<int>(memory() - memoryBefore));
  RecordProperty("answeredBefore", answered_);
  const auto calledBack = [](const Answer* answer) { return answer->count != 1; };
  EXPECT_EQ(std::ranges::count_if(answers_, calledBack), 0);
  EXPECT_GT(answered_, 0);
  EXPECT_LT(answered_, static_cast<int>(answers_.size())) << "nothing was under way";
}

}  // namespace
}  // namespace quorvin
