#include "platform_linux/media/turn_queue.h"

namespace quorvin {

bool TurnQueue::enter(const std::stop_token& stop) {
  Waiter waiter;
  // Goes when the lock is free: going waits for a call under way, which takes the lock.
  const std::stop_callback stopped(stop, [this, &waiter] { wake(waiter); });
  const NSLockHolder held(lock_);
  if (closed_) return false;
  ++inside_;
  if (free_ > 0) {
    --free_;
    return true;
  }
  waiters_.push_back(&waiter);
  while (!waiter.admitted && !closed_ && !stop.stop_requested()) waiter.wake.wait(lock_);
  if (waiter.admitted) return true;
  std::erase(waiters_, &waiter);
  countLeft();
  return false;
}

void TurnQueue::leave() {
  const NSLockHolder held(lock_);
  if (waiters_.empty()) {
    ++free_;
  } else {
    Waiter& next = *(order_ == Order::newestFirst ? newestFirst_.take(waiters_)
                                                  : NewestFirst::takeOldest(waiters_));
    next.admitted = true;
    next.wake.signal();
  }
  countLeft();
}

void TurnQueue::close() {
  const NSLockHolder held(lock_);
  closed_ = true;
  for (Waiter* each : waiters_) each->wake.signal();
}

void TurnQueue::waitUntilEmpty() {
  const NSLockHolder held(lock_);
  while (inside_ > 0) emptied_.wait(lock_);
}

std::size_t TurnQueue::waiting() {
  const NSLockHolder held(lock_);
  return waiters_.size();
}

void TurnQueue::wake(Waiter& waiter) {
  const NSLockHolder held(lock_);
  waiter.wake.signal();
}

void TurnQueue::countLeft() {
  if (--inside_ == 0) emptied_.broadcast();
}

}  // namespace quorvin
