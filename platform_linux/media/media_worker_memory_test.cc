// What needs more memory than everybody may take.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform_linux/media/media_worker_pool.h"
#include "testing/platform/testing_pool.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

// The testing worker says of "needs N" that it needs N MiB, unless it may take that; then it tells
// its arguments.

TEST(MediaWorkerMemory, IsGivenToAnOrdinaryWorkerWhereThatWillDo) {
  MediaWorkerPool pool(testingPoolOptions());
  const std::string worker = report(pool, "answer");
  EXPECT_EQ(report(pool, "needs 200"), "");
  EXPECT_EQ(report(pool, "answer"), worker);
  EXPECT_EQ(children().size(), 1U);
}

TEST(MediaWorkerMemory, IsGivenToAWorkerOfItsOwnWhereItIsMuch) {
  MediaWorkerPool pool(testingPoolOptions());
  const std::string worker = report(pool, "answer");
  EXPECT_EQ(report(pool, "needs 500"), std::to_string(500 << 20));
  EXPECT_EQ(children().size(), 1U);
  EXPECT_EQ(report(pool, "answer"), worker);
}

TEST(MediaWorkerMemory, IsRefusedWhereThereIsNotSoMuch) {
  MediaWorkerPool pool(testingPoolOptions(2));
  const auto result = probe(pool, "needs 5000");
  ASSERT_FALSE(result);
  // Six workers take 112 MiB each, and 320 MiB are kept for what is looked at.
  EXPECT_EQ(result.error(),
            Failure(LibraryErrorCode::invalidResource,
                    "it would take 5000 MiB of memory to decode, and there is 2080 MiB for that."));
  EXPECT_TRUE(probe(pool, "answer"));
}

TEST(MediaWorkerMemory, IsNotGivenTwiceToWhoAsksForEverMore) {
  MediaWorkerPool pool(testingPoolOptions());
  const auto result = probe(pool, "needs more");
  ASSERT_FALSE(result);
  expectInterrupted(result.error());
}

TEST(MediaWorkerMemory, HoldsUpNobodyWhileItIsWaitedFor) {
  MediaWorkerPool pool(testingPoolOptions(1));
  const FileDescriptor first = asking("needs 2000 held");
  const FileDescriptor second = asking("needs 2000 held");
  std::vector<std::thread> threads;
  for (const FileDescriptor* each : {&first, &second}) {
    threads.emplace_back([&pool, each] { EXPECT_TRUE(pool.probe(*each, "a.jpg")); });
  }
  // Each has been in its lane and left it; one has what there is, and the other waits.
  while (children().size() < 2) std::this_thread::yield();
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(probe(pool, "answer"));
  EXPECT_EQ(children().size(), 2U);
  for (const FileDescriptor* each : {&first, &second}) {
    EXPECT_EQ(::pwrite(each->get(), "n", 1, 0), 1);
    EXPECT_EQ(::pwrite(each->get(), "!", 1, 15), 1);
  }
  for (auto& each : threads) each.join();
}

TEST(MediaWorkerMemory, IsWaitedForNoMoreOnceThePoolIsShutDown) {
  MediaWorkerPool pool(testingPoolOptions(1));
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&pool] {
      const auto result = probe(pool, "needs 2000 held");
      ASSERT_FALSE(result);
      expectInterrupted(result.error());
    });
  }
  while (children().size() < 2) std::this_thread::yield();
  pool.shutDown();
  for (auto& each : threads) each.join();
  EXPECT_TRUE(children().empty());
}

}  // namespace
}  // namespace quorvin
