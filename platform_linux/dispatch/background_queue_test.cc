#include "platform_linux/dispatch/background_queue.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <latch>
#include <memory>
#include <new>
#include <semaphore>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform_linux/dispatch/background_thread.h"
#include "testing/platform/no_more_threads.h"

namespace quorvin {
namespace {

/// Tells when its thread ends.
struct ThreadEnd {
  std::shared_ptr<std::counting_semaphore<>> ended;
  ~ThreadEnd() {
    if (ended) ended->release();
  }
};
thread_local ThreadEnd threadEnd;

TEST(BackgroundQueue, RunsItemsAtTheLowestPriority) {
  const int own = getpriority(PRIO_PROCESS, 0);
  BackgroundQueue queue;
  int priority = 0;
  std::latch done(1);
  queue.async([&priority, &done] {
    priority = getpriority(PRIO_PROCESS, 0);
    done.count_down();
  });
  done.wait();
  EXPECT_EQ(priority, 19);
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), own) << "the submitting thread keeps its own";
}

TEST(BackgroundQueue, LeavesTheProcessItsSignalsAndItsCrashHandler) {
  BackgroundQueue queue;
  sigset_t blocked;
  sigset_t before;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  std::latch done(1);
  queue.async([&blocked, &done] {
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    done.count_down();
  });
  done.wait();
  for (int signal : {SIGINT, SIGTERM, SIGCHLD, SIGALRM})
    EXPECT_EQ(sigismember(&blocked, signal), 1);
  for (int signal : {SIGSEGV, SIGBUS, SIGABRT}) EXPECT_EQ(sigismember(&blocked, signal), 0);
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGINT), sigismember(&before, SIGINT));
}

/// Items that each wait until all of them run.
void runTogether(BackgroundQueue& queue, std::ptrdiff_t items) {
  std::latch together(items);
  std::latch done(items);
  for (std::ptrdiff_t i = 0; i < items; ++i) {
    queue.async([&together, &done] {
      together.arrive_and_wait();
      done.count_down();
    });
  }
  done.wait();
}

TEST(BackgroundQueue, RunsAsManyItemsAtOnceAsThereAreProcessors) {
  const auto processors = static_cast<std::ptrdiff_t>(std::thread::hardware_concurrency());
  BackgroundQueue queue;
  runTogether(queue, processors);
}

TEST(BackgroundQueue, GrowsWhenItsThreadsWaitForWorkThatWaits) {
  const auto items = static_cast<std::ptrdiff_t>(std::thread::hardware_concurrency()) + 10;
  BackgroundQueue queue;
  runTogether(queue, items);
}

TEST(BackgroundQueue, GrowsAgainAfterItHasShrunk) {
  const auto items = static_cast<std::ptrdiff_t>(std::thread::hardware_concurrency()) + 3;
  BackgroundQueue queue(std::chrono::milliseconds(0));
  for (int round = 0; round < 3; ++round) runTogether(queue, items);
}

TEST(BackgroundQueue, DoesNotGrowWhileItsThreadsAreBusy) {
  const std::size_t processors = std::thread::hardware_concurrency();
  const std::size_t items = processors * 8;
  std::vector<pid_t> threads(items);
  std::atomic<bool> allSubmitted = false;
  std::latch done(static_cast<std::ptrdiff_t>(items));
  BackgroundQueue queue;
  for (std::size_t i = 0; i < items; ++i) {
    queue.async([&thread = threads[i], &allSubmitted, &done] {
      thread = currentThreadId();
      const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(10);
      while (std::chrono::steady_clock::now() < end || !allSubmitted) {
      }
      done.count_down();
    });
  }
  allSubmitted = true;
  done.wait();
  EXPECT_LE(std::set(threads.begin(), threads.end()).size(), processors);
}

TEST(BackgroundQueue, AThreadEndsWhenItIsIdleForLong) {
  const auto ended = std::make_shared<std::counting_semaphore<>>(0);
  std::latch bothRun(2);
  BackgroundQueue queue(std::chrono::milliseconds(1));
  for (int i = 0; i < 2; ++i) {
    queue.async([&bothRun, ended] {
      threadEnd.ended = ended;
      bothRun.arrive_and_wait();
    });
  }
  ended->acquire();
}

TEST(BackgroundQueue, ShuttingDownWaitsForTheItemsThatRun) {
  BackgroundQueue queue;
  std::latch running(1);
  std::latch release(1);
  bool finished = false;
  queue.async([&running, &release, &finished] {
    running.count_down();
    release.wait();
    finished = true;
  });
  running.wait();
  std::thread releaser([&release] { release.count_down(); });
  queue.shutDown();
  EXPECT_TRUE(finished);
  releaser.join();
}

TEST(BackgroundQueue, KeepsOneThreadHoweverLongItIsIdle) {
  BackgroundQueue queue(std::chrono::milliseconds(0));
  EXPECT_TRUE(queue.hasThread());
  const NoMoreThreads none;  // one that ended could not be replaced
  for (int i = 0; i < 200; ++i) {
    std::latch done(1);
    queue.async([&done] { done.count_down(); });
    done.wait();
  }
}

TEST(BackgroundQueue, RunsEverythingOnOneThreadWhenTheSystemHasNoMore) {
  BackgroundQueue queue;
  std::set<std::thread::id> threads;  // no two items at once, or the race shows
  std::latch done(20);
  std::latch begin(1);
  const NoMoreThreads none;
  queue.async([&begin] { begin.wait(); });
  for (int i = 0; i < 20; ++i) {
    queue.async([&threads, &done] {
      threads.insert(std::this_thread::get_id());
      done.count_down();
    });
  }
  begin.count_down();
  done.wait();
  EXPECT_EQ(threads.size(), 1u);
}

TEST(BackgroundQueue, GoesOnAfterAnItemForWhichMemoryRanOut) {
  BackgroundQueue queue;
  const auto held = std::make_shared<int>();
  std::latch done(1);
  queue.async([held] { throw std::bad_alloc(); });
  queue.async([&done] { done.count_down(); });
  done.wait();
  queue.shutDown();
  EXPECT_EQ(held.use_count(), 1);
}

TEST(BackgroundQueue, ShuttingDownDropsWhatWaitsAndWhatComesLater) {
  BackgroundQueue queue;
  const std::size_t limit =
      std::max<std::size_t>(BackgroundQueue::kThreadLimit, std::thread::hardware_concurrency());
  std::latch running(static_cast<std::ptrdiff_t>(limit));
  std::latch release(1);
  for (std::size_t i = 0; i < limit; ++i) {
    queue.async([&running, &release] {
      running.count_down();
      release.wait();
    });
  }
  running.wait();
  // The running items end when the waiting ones, which no thread is left for, are destroyed.
  const auto released = [&release](int* object) {
    delete object;
    release.count_down();
  };
  auto held = std::shared_ptr<int>(new int, released);
  for (int i = 0; i < 3; ++i) {
    queue.async([held] { ADD_FAILURE() << "a dropped item ran"; });
  }
  held.reset();
  queue.shutDown();
  queue.async([] { ADD_FAILURE() << "an item ran after the shutdown"; });
}

TEST(BackgroundQueue, ShuttingDownTwiceOrFromSeveralThreadsIsSafe) {
  BackgroundQueue queue;
  for (int i = 0; i < 20; ++i) queue.async([] {});
  std::thread first([&queue] { queue.shutDown(); });
  std::thread second([&queue] { queue.shutDown(); });
  queue.shutDown();
  first.join();
  second.join();
  queue.shutDown();
}

TEST(BackgroundQueue, TakesWorkFromManyThreadsAtOnce) {
  constexpr std::ptrdiff_t kThreads = 4;
  constexpr std::ptrdiff_t kItems = 500;
  std::atomic<std::ptrdiff_t> ran = 0;
  std::latch done(kThreads * kItems);
  BackgroundQueue queue;
  std::vector<std::thread> submitters;
  submitters.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    submitters.emplace_back([&queue, &ran, &done] {
      for (int i = 0; i < kItems; ++i) {
        queue.async([&ran, &done] {
          ++ran;
          done.count_down();
        });
      }
    });
  }
  for (std::thread& submitter : submitters) submitter.join();
  done.wait();
  EXPECT_EQ(ran, kThreads * kItems);
}

TEST(BackgroundQueueDeathTest, AnExceptionThatLeavesAnItemEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        BackgroundQueue queue;
        queue.async([] { throw std::runtime_error("broken invariant"); });
        std::latch never(1);
        never.wait();
      },
      "broken invariant");
}

TEST(BackgroundThread, TellsASleepingThreadFromARunnableOne) {
  EXPECT_TRUE(isRunnable(currentThreadId()));
  EXPECT_FALSE(isRunnable(1 << 30)) << "there is no such thread";
  pid_t sleeper = 0;
  std::latch known(1);
  std::latch release(1);
  std::thread thread([&sleeper, &known, &release] {
    sleeper = currentThreadId();
    known.count_down();
    release.wait();
  });
  known.wait();
  while (isRunnable(sleeper)) std::this_thread::yield();
  EXPECT_FALSE(isRunnable(sleeper));
  release.count_down();
  thread.join();
}

}  // namespace
}  // namespace quorvin
