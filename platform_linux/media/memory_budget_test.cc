#include "platform_linux/media/memory_budget.h"

#include <gtest/gtest.h>

#include <stop_token>
#include <thread>

namespace quorvin {
namespace {

constexpr std::int64_t kMebibyte = 1 << 20;
constexpr std::int64_t kTotal = 1024 * kMebibyte;

class MemoryBudgetTest : public testing::Test {
 protected:
  bool take(WorkerLane lane, std::int64_t bytes) { return budget_.take(lane, bytes, {}); }
  void waitForWaiters(std::size_t count) {
    while (budget_.waiting() != count) std::this_thread::yield();
  }

  MemoryBudget budget_{kTotal};
};

TEST_F(MemoryBudgetTest, KeepsAPartForWhatIsMoreUrgent) {
  EXPECT_EQ(budget_.mostFor(WorkerLane::looks), kTotal);
  EXPECT_EQ(budget_.mostFor(WorkerLane::chores), kTotal - MemoryBudget::kForLooks);
  ASSERT_TRUE(take(WorkerLane::exports, budget_.mostFor(WorkerLane::exports)));
  // None of these waits.
  EXPECT_TRUE(take(WorkerLane::chores, MemoryBudget::kForChores));
  EXPECT_TRUE(take(WorkerLane::looks, MemoryBudget::kForLooks));
}

TEST_F(MemoryBudgetTest, LetsWaitWhoeverWantsMoreThanThereIs) {
  ASSERT_TRUE(take(WorkerLane::looks, 600 * kMebibyte));
  std::thread second([this] { EXPECT_TRUE(take(WorkerLane::looks, 600 * kMebibyte)); });
  waitForWaiters(1);
  // Nobody who comes later goes before it.
  std::thread third([this] { EXPECT_TRUE(take(WorkerLane::looks, kMebibyte)); });
  waitForWaiters(2);
  budget_.giveBack(WorkerLane::looks, 600 * kMebibyte);
  second.join();
  third.join();
  EXPECT_EQ(budget_.waiting(), 0U);
}

TEST_F(MemoryBudgetTest, CountsWhatIsLookedAtAgainstTheRest) {
  ASSERT_TRUE(take(WorkerLane::looks, kTotal - kMebibyte));
  std::thread chore([this] { EXPECT_TRUE(take(WorkerLane::chores, 2 * kMebibyte)); });
  waitForWaiters(1);
  budget_.giveBack(WorkerLane::looks, kTotal - kMebibyte);
  chore.join();
}

TEST_F(MemoryBudgetTest, LetsGoOfWhoIsStopped) {
  ASSERT_TRUE(take(WorkerLane::looks, kTotal));
  std::stop_source stop;
  std::thread waiting(
      [&] { EXPECT_FALSE(budget_.take(WorkerLane::looks, kMebibyte, stop.get_token())); });
  waitForWaiters(1);
  stop.request_stop();
  waiting.join();
  budget_.giveBack(WorkerLane::looks, kTotal);
  budget_.waitUntilEmpty();
}

TEST_F(MemoryBudgetTest, SendsEverybodyAwayOnceItIsClosed) {
  ASSERT_TRUE(take(WorkerLane::looks, kTotal));
  std::thread waiting([this] { EXPECT_FALSE(take(WorkerLane::chores, kMebibyte)); });
  waitForWaiters(1);
  budget_.close();
  waiting.join();
  EXPECT_FALSE(take(WorkerLane::looks, kMebibyte));
  budget_.giveBack(WorkerLane::looks, kTotal);
  budget_.waitUntilEmpty();
}

}  // namespace
}  // namespace quorvin
