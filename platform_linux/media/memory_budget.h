// How much memory all workers together may take for what they decode.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <stop_token>

#include "core/platform/lock.h"
#include "platform_linux/media/worker_lane.h"

namespace quorvin {

/// Given out in the order in which it was asked for. A part is kept for what is looked at, and one
/// for chores and that, so that nobody waits for an export. Any thread.
class MemoryBudget {
 public:
  /// What is kept from chores and exports, and from exports alone. Bytes.
  static constexpr std::int64_t kForLooks = 320 << 20;
  static constexpr std::int64_t kForChores = 192 << 20;

  explicit MemoryBudget(std::int64_t bytes) : total_(bytes) {}

  /// The most that one of that lane is ever given.
  std::int64_t mostFor(WorkerLane lane) const;

  /// Waits until there is so much, which is no more than `mostFor`. False, and nothing given, when
  /// the budget is closed or `stop` is requested before.
  bool take(WorkerLane lane, std::int64_t bytes, const std::stop_token& stop)
      QUORVIN_EXCLUDES(lock_);
  void giveBack(WorkerLane lane, std::int64_t bytes) QUORVIN_EXCLUDES(lock_);

  /// Those who wait come away with nothing, as do all who come later.
  void close() QUORVIN_EXCLUDES(lock_);
  /// Returns when nobody waits or has anything.
  void waitUntilEmpty() QUORVIN_EXCLUDES(lock_);

  std::size_t waiting() QUORVIN_EXCLUDES(lock_);

 private:
  struct Waiter {
    WorkerLane lane;
    std::int64_t bytes;
  };

  /// Whether it is given now: there is enough, and none of the same lane was there before.
  bool isNext(const Waiter& waiter) QUORVIN_REQUIRES(lock_);

  const std::int64_t total_;

  NSLock lock_;
  NSCondition changed_;
  bool closed_ QUORVIN_GUARDED_BY(lock_) = false;
  std::size_t inside_ QUORVIN_GUARDED_BY(lock_) = 0;  ///< those who wait included
  std::array<std::int64_t, kWorkerLanes> taken_ QUORVIN_GUARDED_BY(lock_) = {};  ///< by lane
  std::list<const Waiter*> waiters_ QUORVIN_GUARDED_BY(lock_);  ///< the oldest first
};

}  // namespace quorvin
