#include "platform_linux/dispatch/main_queue.h"

#include <sys/eventfd.h>

#include <chrono>
#include <utility>

#include "platform_linux/dispatch/work_item.h"

namespace quorvin {

void MainQueue::async(std::function<void()> work) {
  bool isAwaited = false;
  {
    NSLockHolder hold(lock_);
    if (closed_) return;
    items_.push_back(std::move(work));
    isAwaited = waiting_;
    if (!isAwaited) setReadable(true);
  }
  // A platform thread that waits in `run` is woken without a detour through the descriptor, and
  // when the lock is free, which it takes at once.
  if (isAwaited) arrived_.signal();
}

std::size_t MainQueue::run(int timeoutMs) {
  NSLockHolder hold(lock_);
  if (timeoutMs != 0 && items_.empty() && !closed_) waitForWork(timeoutMs);
  // Items that an inner `run` takes count towards the end, but not as ours.
  const std::uint64_t end = taken_ + items_.size();
  std::size_t ran = 0;
  while (taken_ < end && !items_.empty()) {
    runFirst();
    ++ran;
  }
  setReadable(!items_.empty());
  return ran;
}

void MainQueue::close() {
  std::deque<std::function<void()>> dropped;
  NSLockHolder hold(lock_);
  closed_ = true;
  dropped.swap(items_);  // destroyed after the lock is free: what they hold may submit work
  setReadable(false);
  arrived_.signal();
}

void MainQueue::waitForWork(int timeoutMs) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  setReadable(false);
  waiting_ = true;
  while (items_.empty() && !closed_) {
    if (timeoutMs < 0) {
      arrived_.wait(lock_);
    } else if (!arrived_.waitUntil(lock_, deadline)) {
      break;
    }
  }
  waiting_ = false;
}

void MainQueue::runFirst() {
  std::function<void()> work = std::move(items_.front());
  items_.pop_front();
  ++taken_;
  // An item may watch the descriptor in an event loop of its own.
  if (!items_.empty()) setReadable(true);
  lock_.unlock();
  runWorkItem(work);
  lock_.lock();
}

void MainQueue::setReadable(bool readable) {
  if (readable == readable_) return;
  readable_ = readable;
  // Neither can fail: the counter is only ever 0 or 1.
  eventfd_t count;
  if (readable) {
    eventfd_write(event_.get(), 1);
  } else {
    eventfd_read(event_.get(), &count);
  }
}

}  // namespace quorvin
