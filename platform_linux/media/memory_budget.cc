#include "platform_linux/media/memory_budget.h"

#include <algorithm>
#include <numeric>

namespace quorvin {

std::int64_t MemoryBudget::mostFor(WorkerLane lane) const {
  switch (lane) {
    case WorkerLane::looks:
      return total_;
    case WorkerLane::chores:
      return total_ - kForLooks;
    case WorkerLane::exports:
      break;
  }
  return total_ - kForLooks - kForChores;
}

bool MemoryBudget::take(WorkerLane lane, std::int64_t bytes, const std::stop_token& stop) {
  const Waiter waiter{lane, bytes};
  // Goes when the lock is free: going waits for a call under way, which takes the lock.
  const std::stop_callback stopped(stop, [this] {
    const NSLockHolder held(lock_);
    changed_.broadcast();
  });
  const NSLockHolder held(lock_);
  ++inside_;
  waiters_.push_back(&waiter);
  while (!closed_ && !stop.stop_requested() && !isNext(waiter)) changed_.wait(lock_);
  waiters_.remove(&waiter);
  // It may be another's turn now.
  changed_.broadcast();
  if (closed_ || stop.stop_requested()) {
    --inside_;
    return false;
  }
  taken_.at(static_cast<std::size_t>(lane)) += bytes;
  return true;
}

void MemoryBudget::giveBack(WorkerLane lane, std::int64_t bytes) {
  const NSLockHolder held(lock_);
  taken_.at(static_cast<std::size_t>(lane)) -= bytes;
  --inside_;
  changed_.broadcast();
}

bool MemoryBudget::isNext(const Waiter& waiter) {
  const auto first = std::ranges::find(waiters_, waiter.lane, &Waiter::lane);
  if (*first != &waiter) return false;
  // What lanes of more haste take is not counted against what is kept for them.
  for (std::size_t lane = static_cast<std::size_t>(waiter.lane);; --lane) {
    const auto taken = std::accumulate(taken_.begin() + static_cast<std::ptrdiff_t>(lane),
                                       taken_.end(), waiter.bytes);
    if (taken > mostFor(static_cast<WorkerLane>(lane))) return false;
    if (lane == 0) return true;
  }
}

void MemoryBudget::close() {
  const NSLockHolder held(lock_);
  closed_ = true;
  changed_.broadcast();
}

void MemoryBudget::waitUntilEmpty() {
  const NSLockHolder held(lock_);
  while (inside_ > 0) changed_.wait(lock_);
}

std::size_t MemoryBudget::waiting() {
  const NSLockHolder held(lock_);
  return waiters_.size();
}

}  // namespace quorvin
