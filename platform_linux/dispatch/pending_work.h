// Work that was given to threads and is waited for.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <utility>

#include "core/platform/lock.h"
#include "platform_linux/dispatch/work_threads.h"

namespace quorvin {

/// Counts the items that are not done yet. Any thread. It ends only when all are.
class PendingWork {
 public:
  PendingWork() = default;
  ~PendingWork() { wait(); }
  PendingWork(const PendingWork&) = delete;
  PendingWork& operator=(const PendingWork&) = delete;

  /// An item for which memory runs out counts as done.
  void add(WorkThreads& threads, std::function<void()> item) QUORVIN_EXCLUDES(lock_) {
    {
      const NSLockHolder held(lock_);
      ++count_;
    }
    const bool isTaken = threads.add([this, item = std::move(item)] {
      const Ended ended(*this);
      item();
    });
    if (!isTaken) end();
  }

  /// Until none is left; calls `meanwhile`, if given, now and then.
  void wait(const std::function<void()>& meanwhile = {}) QUORVIN_EXCLUDES(lock_) {
    constexpr std::chrono::milliseconds kNowAndThen(100);
    for (;;) {
      {
        const NSLockHolder held(lock_);
        const auto limit = std::chrono::steady_clock::now() + kNowAndThen;
        while (count_ > 0 && !meanwhile) ended_.wait(lock_);
        while (count_ > 0 && ended_.waitUntil(lock_, limit)) continue;
        if (count_ == 0) return;
      }
      meanwhile();
    }
  }

 private:
  class Ended {
   public:
    explicit Ended(PendingWork& owner) : owner_(owner) {}
    ~Ended() { owner_.end(); }
    Ended(const Ended&) = delete;
    Ended& operator=(const Ended&) = delete;

   private:
    PendingWork& owner_;
  };

  void end() QUORVIN_EXCLUDES(lock_) {
    // With the lock held: who waits may be gone as soon as it is free.
    const NSLockHolder held(lock_);
    if (--count_ == 0) ended_.broadcast();
  }

  NSLock lock_;
  NSCondition ended_;
  std::size_t count_ QUORVIN_GUARDED_BY(lock_) = 0;
};

}  // namespace quorvin
