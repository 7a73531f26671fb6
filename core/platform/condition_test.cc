// Waiting with a lock held.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "core/platform/lock.h"

namespace quorvin {
namespace {

TEST(NSCondition, FreesTheLockWhileItWaits) {
  NSLock lock;
  NSCondition condition;
  bool done = false;
  lock.lock();
  std::thread other([&] {
    {
      const NSLockHolder held(lock);
      done = true;
    }
    condition.signal();
  });
  while (!done) condition.wait(lock);
  lock.unlock();
  other.join();
  EXPECT_TRUE(done);
}

TEST(NSCondition, WakesEveryWaiter) {
  NSLock lock;
  NSCondition condition;
  bool done = false;
  std::vector<std::thread> waiters;
  for (int i = 0; i < 3; ++i) {
    waiters.emplace_back([&] {
      const NSLockHolder held(lock);
      while (!done) condition.wait(lock);
    });
  }
  lock.lock();
  done = true;
  lock.unlock();
  condition.broadcast();
  for (std::thread& each : waiters) each.join();
}

TEST(NSCondition, SaysWhenTheTimeCameFirst) {
  NSLock lock;
  NSCondition condition;
  lock.lock();
  EXPECT_FALSE(condition.waitUntil(lock, std::chrono::steady_clock::now()));
  lock.unlock();
}

}  // namespace
}  // namespace quorvin
