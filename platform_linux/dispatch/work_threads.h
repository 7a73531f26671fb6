// A few threads for work that takes its time.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <thread>
#include <vector>

#include "core/platform/lock.h"

namespace quorvin {

/// Runs work items in the order in which they came, as many at a time as there are threads. Any
/// thread may add.
class WorkThreads {
 public:
  /// Threads have the priority of the thread that calls this, and `name`, of at most 15 characters.
  WorkThreads(const char* name, std::size_t threadCount);
  ~WorkThreads();
  WorkThreads(const WorkThreads&) = delete;
  WorkThreads& operator=(const WorkThreads&) = delete;

  /// Never runs the item itself, but where the system gave no thread at all. False, and the item is
  /// dropped, once `shutDown` was called.
  bool add(std::function<void()> item) QUORVIN_EXCLUDES(lock_);

  /// Takes no more items, and returns when those that it has were run and let go of. One thread,
  /// not from inside an item; may be called again.
  void shutDown() QUORVIN_EXCLUDES(lock_);

 private:
  void serve() QUORVIN_EXCLUDES(lock_);
  /// Empty at the end of all work.
  std::function<void()> next() QUORVIN_EXCLUDES(lock_);

  NSLock lock_;
  NSCondition arrived_;
  bool shutDown_ QUORVIN_GUARDED_BY(lock_) = false;
  std::deque<std::function<void()>> waiting_ QUORVIN_GUARDED_BY(lock_);

  std::vector<std::thread> threads_;  ///< as many as the system gave
};

}  // namespace quorvin
