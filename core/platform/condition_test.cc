// Waiting with a lock held.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

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

TEST(NSCondition, SaysWhenTheTimeCameFirst) {
  NSLock lock;
  NSCondition condition;
  lock.lock();
  EXPECT_FALSE(condition.waitUntil(lock, std::chrono::steady_clock::now()));
  lock.unlock();
}

}  // namespace
}  // namespace quorvin
