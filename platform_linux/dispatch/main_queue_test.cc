#include "platform_linux/dispatch/main_queue.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <chrono>
#include <latch>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

namespace quorvin {
namespace {

class MainQueueTest : public testing::Test {
 protected:
  bool readable() {
    pollfd watched{queue.fd(), POLLIN, 0};
    return poll(&watched, 1, 0) == 1;
  }

  MainQueue queue{FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))};
};

TEST_F(MainQueueTest, RunReturnsAtOnceWithoutATimeoutWhenNothingWaits) {
  EXPECT_EQ(queue.run(0), 0u);
}

TEST_F(MainQueueTest, RunCountsTheItemsThatRan) {
  for (int i = 0; i < 3; ++i) queue.async([] {});
  EXPECT_EQ(queue.run(0), 3u);
  EXPECT_EQ(queue.run(0), 0u);
}

TEST_F(MainQueueTest, RunWithATimeoutReturnsWithoutWorkAfterThatTime) {
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(queue.run(20), 0u);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

TEST_F(MainQueueTest, RunWithATimeoutReturnsOnceAnItemRan) {
  std::thread submitter([this] { queue.async([] {}); });
  EXPECT_EQ(queue.run(60'000), 1u);
  submitter.join();
}

TEST_F(MainQueueTest, RunWithANegativeTimeoutWaitsForAnItem) {
  std::thread submitter([this] { queue.async([] {}); });
  EXPECT_EQ(queue.run(-1), 1u);
  submitter.join();
}

TEST_F(MainQueueTest, RunLeavesWhatItemsSubmitToTheNextCall) {
  int runs = 0;
  std::function<void()> again = [this, &runs, &again] {
    ++runs;
    queue.async(again);
  };
  queue.async(again);
  EXPECT_EQ(queue.run(0), 1u);
  EXPECT_TRUE(readable());
  EXPECT_EQ(queue.run(-1), 1u);
  EXPECT_EQ(runs, 2);
}

TEST_F(MainQueueTest, TheDescriptorIsReadableExactlyWhileWorkWaits) {
  EXPECT_FALSE(readable());
  queue.async([] {});
  queue.async([] {});
  EXPECT_TRUE(readable());
  queue.run(0);
  EXPECT_FALSE(readable());
  queue.async([] {});
  EXPECT_TRUE(readable());
}

TEST_F(MainQueueTest, TheDescriptorIsNotReadableAfterAWaitWasAnswered) {
  std::thread submitter([this] { queue.async([] {}); });
  queue.run(-1);
  submitter.join();
  EXPECT_FALSE(readable());
}

TEST_F(MainQueueTest, AnItemWithAnEventLoopOfItsOwnSeesThatMoreWaits) {
  std::vector<bool> seen;
  for (int i = 0; i < 2; ++i) {
    queue.async([this, &seen] { seen.push_back(readable()); });
  }
  queue.run(0);
  EXPECT_TRUE(seen.front());
  EXPECT_FALSE(readable());
}

TEST_F(MainQueueTest, AnItemThatRunsTheQueueGetsTheItemsThatStillWait) {
  std::vector<int> order;
  std::size_t inner = 0;
  queue.async([this, &order, &inner] {
    inner = queue.run(-1);
    order.push_back(1);
  });
  queue.async([&order] { order.push_back(2); });
  queue.async([&order] { order.push_back(3); });
  EXPECT_EQ(queue.run(0), 1u);
  EXPECT_EQ(inner, 2u);
  EXPECT_EQ(order, (std::vector<int>{2, 3, 1}));
}

TEST_F(MainQueueTest, CloseDropsWhatWaitsAndWhatComesLater) {
  auto held = std::make_shared<int>();
  const auto item = [held] { FAIL() << "a dropped item ran"; };
  queue.async(item);
  EXPECT_EQ(held.use_count(), 3);
  queue.close();
  queue.async(item);
  EXPECT_EQ(held.use_count(), 2) << "a dropped item is still held";
  EXPECT_EQ(queue.run(0), 0u);
  EXPECT_FALSE(readable());
}

TEST_F(MainQueueTest, CloseLetsADroppedItemSubmitWorkAsItGoes) {
  const auto submit = [this](int* object) {
    delete object;
    queue.async([] { FAIL() << "work of a dropped item ran"; });
  };
  queue.async([held = std::shared_ptr<int>(new int, submit)] {});
  queue.close();
  EXPECT_EQ(queue.run(0), 0u);
}

TEST_F(MainQueueTest, CloseEndsAWaitAndEveryLaterOne) {
  std::thread closer([this] { queue.close(); });
  EXPECT_EQ(queue.run(-1), 0u);
  closer.join();
  EXPECT_EQ(queue.run(-1), 0u);
}

TEST_F(MainQueueTest, AnItemThatClosesTheQueueIsTheLast) {
  queue.async([this] { queue.close(); });
  queue.async([] { FAIL() << "an item ran after the queue was closed"; });
  EXPECT_EQ(queue.run(0), 1u);
}

TEST_F(MainQueueTest, RunsTheItemsOfEveryThreadInTheOrderOfThatThread) {
  constexpr std::size_t kThreads = 4;
  constexpr int kItems = 500;
  std::vector<std::vector<int>> seen(kThreads);
  std::vector<std::thread> submitters;
  submitters.reserve(kThreads);
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    submitters.emplace_back([this, &seen, thread] {
      for (int i = 0; i < kItems; ++i) {
        queue.async([&seen, thread, i] { seen[thread].push_back(i); });
      }
    });
  }
  std::size_t ran = 0;
  while (ran < kThreads * kItems) ran += queue.run(-1);
  for (std::thread& submitter : submitters) submitter.join();
  std::vector<int> expected(kItems);
  std::iota(expected.begin(), expected.end(), 0);
  for (const auto& order : seen) EXPECT_EQ(order, expected);
}

using MainQueueDeathTest = MainQueueTest;

TEST_F(MainQueueDeathTest, AnExceptionThatLeavesAnItemEndsTheProcess) {
  queue.async([] { throw std::runtime_error("broken invariant"); });
  EXPECT_DEATH(queue.run(0), "broken invariant");
}

}  // namespace
}  // namespace quorvin
