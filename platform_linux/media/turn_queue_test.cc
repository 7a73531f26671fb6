#include "platform_linux/media/turn_queue.h"

#include <gtest/gtest.h>

#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace quorvin {
namespace {

void waitForWaiters(TurnQueue& queue, std::size_t count) {
  while (queue.waiting() < count) std::this_thread::yield();
}

TEST(TurnQueue, AdmitsAsManyAsItHasTurns) {
  TurnQueue queue(2);
  EXPECT_TRUE(queue.enter());
  EXPECT_TRUE(queue.enter());
  std::thread third([&queue] { EXPECT_TRUE(queue.enter()); });
  waitForWaiters(queue, 1);
  queue.leave();
  third.join();
  EXPECT_EQ(queue.waiting(), 0U);
}

TEST(TurnQueue, LetsGoOfWhoIsStopped) {
  TurnQueue queue(1);
  ASSERT_TRUE(queue.enter());
  std::stop_source stop;
  std::thread waiting([&] { EXPECT_FALSE(queue.enter(stop.get_token())); });
  waitForWaiters(queue, 1);
  stop.request_stop();
  waiting.join();
  EXPECT_EQ(queue.waiting(), 0U);
  queue.leave();
  queue.waitUntilEmpty();
}

TEST(TurnQueue, HasOneTurnAtLeast) {
  EXPECT_TRUE(TurnQueue(0).enter());
}

/// The numbers of eight who wait for the only turn, as they are served.
std::vector<std::size_t> servedBy(TurnQueue& queue) {
  EXPECT_TRUE(queue.enter());
  std::mutex mutex;
  std::vector<std::size_t> served;
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < 8; ++i) {
    threads.emplace_back([&queue, &mutex, &served, i] {
      ASSERT_TRUE(queue.enter());
      {
        const std::lock_guard guard(mutex);
        served.push_back(i);
      }
      queue.leave();
    });
    waitForWaiters(queue, i + 1);
  }
  queue.leave();
  for (auto& each : threads) each.join();
  return served;
}

TEST(TurnQueue, ServesThoseWhoWaitInTheOrderInWhichTheyCame) {
  TurnQueue queue(1);
  EXPECT_EQ(servedBy(queue), (std::vector<std::size_t>{0, 1, 2, 3, 4, 5, 6, 7}));
}

TEST(TurnQueue, ServesTheNewestFirstAndEveryFourthTimeTheOldest) {
  TurnQueue queue(1, TurnQueue::Order::newestFirst);
  EXPECT_EQ(servedBy(queue), (std::vector<std::size_t>{7, 6, 5, 0, 4, 3, 2, 1}));
}

TEST(TurnQueue, SendsEverybodyAwayOnceItIsClosed) {
  TurnQueue queue(1);
  ASSERT_TRUE(queue.enter());
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&queue] { EXPECT_FALSE(queue.enter()); });
  }
  waitForWaiters(queue, 4);
  queue.close();
  for (auto& each : threads) each.join();
  EXPECT_FALSE(queue.enter());
  queue.leave();
  EXPECT_FALSE(queue.enter());
}

TEST(TurnQueue, IsEmptyWhenTheLastOneHasLeft) {
  TurnQueue queue(1);
  queue.waitUntilEmpty();
  ASSERT_TRUE(queue.enter());
  bool left = false;
  std::thread last([&queue, &left] {
    left = true;
    queue.leave();
  });
  queue.waitUntilEmpty();
  EXPECT_TRUE(left);
  last.join();
}

}  // namespace
}  // namespace quorvin
