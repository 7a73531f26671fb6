#include "platform_linux/dispatch/work_threads.h"

#include <algorithm>
#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/dispatch/work_item.h"

namespace quorvin {

WorkThreads::WorkThreads(const char* name, std::size_t threadCount) {
  for (std::size_t i = 0; i < std::max<std::size_t>(threadCount, 1); ++i) {
    std::thread thread = startThread(name, [this] { serve(); });
    if (thread.joinable()) threads_.push_back(std::move(thread));
  }
}

WorkThreads::~WorkThreads() {
  shutDown();
}

bool WorkThreads::add(std::function<void()> item) {
  {
    const NSLockHolder held(lock_);
    if (shutDown_) return false;
    if (!threads_.empty()) {
      waiting_.push_back(std::move(item));
      arrived_.signal();
      return true;
    }
  }
  item();
  return true;
}

void WorkThreads::shutDown() {
  {
    const NSLockHolder held(lock_);
    shutDown_ = true;
    arrived_.broadcast();
  }
  for (std::thread& each : threads_) {
    if (each.joinable()) each.join();
  }
}

void WorkThreads::serve() {
  while (std::function<void()> item = next()) runWorkItem(item);
}

std::function<void()> WorkThreads::next() {
  const NSLockHolder held(lock_);
  while (waiting_.empty() && !shutDown_) arrived_.wait(lock_);
  if (waiting_.empty()) return nullptr;
  std::function<void()> item = std::move(waiting_.front());
  waiting_.pop_front();
  return item;
}

}  // namespace quorvin
