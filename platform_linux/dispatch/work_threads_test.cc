#include "platform_linux/dispatch/work_threads.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <memory>
#include <new>

namespace quorvin {
namespace {

TEST(WorkThreads, RunsItemsInTheOrderInWhichTheyCame) {
  std::vector<int> order;
  WorkThreads threads("test", 1);
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(threads.add([&order, i] { order.push_back(i); }));
  }
  threads.shutDown();
  ASSERT_EQ(order.size(), 100U);
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST(WorkThreads, RunsAsManyAtATimeAsThereAreThreads) {
  std::latch bothRun(2);
  WorkThreads threads("test", 2);
  for (int i = 0; i < 2; ++i) threads.add([&bothRun] { bothRun.arrive_and_wait(); });
  bothRun.wait();
}

TEST(WorkThreads, RunsItemsOnThreadsOfItsOwn) {
  std::thread::id ranOn;
  WorkThreads threads("test", 1);
  threads.add([&ranOn] { ranOn = std::this_thread::get_id(); });
  threads.shutDown();
  EXPECT_NE(ranOn, std::thread::id());
  EXPECT_NE(ranOn, std::this_thread::get_id());
}

TEST(WorkThreads, RunsWhatWaitsBeforeItIsShutDownAndNothingAfterwards) {
  std::atomic<int> ran = 0;
  WorkThreads threads("test", 1);
  for (int i = 0; i < 10; ++i) threads.add([&ran] { ++ran; });
  threads.shutDown();
  EXPECT_EQ(ran, 10);
  EXPECT_FALSE(threads.add([&ran] { ++ran; }));
  threads.shutDown();
  EXPECT_EQ(ran, 10);
}

TEST(WorkThreads, GoesOnAfterAnItemForWhichMemoryRanOut) {
  std::atomic<int> ran = 0;
  WorkThreads threads("test", 1);
  threads.add([] { throw std::bad_alloc(); });
  threads.add([&ran] { ++ran; });
  threads.shutDown();
  EXPECT_EQ(ran, 1);
}

TEST(WorkThreads, LetsGoOfAnItemBeforeItIsShutDown) {
  const auto held = std::make_shared<int>();
  WorkThreads threads("test", 1);
  threads.add([held] {});
  threads.shutDown();
  EXPECT_EQ(held.use_count(), 1);
}

}  // namespace
}  // namespace quorvin
