// A limit on how many do something at a time, and the order in which those who wait are served.
#pragma once

#include <cstddef>
#include <deque>
#include <stop_token>

#include "core/platform/lock.h"
#include "platform_linux/media/newest_first.h"

namespace quorvin {

/// Any thread.
class TurnQueue {
 public:
  enum class Order { oldestFirst, newestFirst };

  /// At most `turns` at a time, at least 1.
  explicit TurnQueue(std::size_t turns, Order order = Order::oldestFirst)
      : order_(order), free_(turns > 0 ? turns : 1) {}

  /// Waits for a turn. False, and no turn, when the queue is closed or `stop` is requested while
  /// there is none.
  bool enter(const std::stop_token& stop = {}) QUORVIN_EXCLUDES(lock_);
  /// Gives the turn that `enter` gave to the next who waits.
  void leave() QUORVIN_EXCLUDES(lock_);

  /// Lets nobody enter any more, and those who wait come away without a turn.
  void close() QUORVIN_EXCLUDES(lock_);
  /// Returns when nobody waits or has a turn.
  void waitUntilEmpty() QUORVIN_EXCLUDES(lock_);

  std::size_t waiting() QUORVIN_EXCLUDES(lock_);

 private:
  struct Waiter {
    NSCondition wake;
    bool admitted = false;
  };

  void wake(Waiter& waiter) QUORVIN_EXCLUDES(lock_);
  void countLeft() QUORVIN_REQUIRES(lock_);

  const Order order_;

  NSLock lock_;
  NSCondition emptied_;
  bool closed_ QUORVIN_GUARDED_BY(lock_) = false;
  std::size_t inside_ QUORVIN_GUARDED_BY(lock_) = 0;       ///< those who wait included
  std::size_t free_ QUORVIN_GUARDED_BY(lock_);             ///< 0 while anybody waits
  std::deque<Waiter*> waiters_ QUORVIN_GUARDED_BY(lock_);  ///< the oldest first
  NewestFirst newestFirst_ QUORVIN_GUARDED_BY(lock_);
};

}  // namespace quorvin
