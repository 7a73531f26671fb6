// The global queue of background quality of service: a pool of threads of lowest priority.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "core/platform/dispatch.h"
#include "core/platform/lock.h"

namespace quorvin {

/// A concurrent queue. Items begin in order of submission, run at the same time on threads of
/// lowest priority, and finish in any order.
///
/// One thread is there from the start, so that work is done also when the system has no more to
/// give. Others are started as work needs them, up to one a processor. When work waits and threads
/// are blocked, so that processors would idle, the pool grows further: items that wait for one
/// another do not bring it to a halt, up to `kThreadLimit` of them. All threads but one end when
/// they had nothing to do for a while.
///
/// What an exception does that leaves an item, `runWorkItem` says. Any thread may call any member,
/// but an item must not call `shutDown` or destroy the queue.
class BackgroundQueue final : public DispatchQueue {
 public:
  static constexpr std::size_t kThreadLimit = 64;
  static constexpr std::chrono::milliseconds kIdleTime{5000};

  /// Threads idle for `idleTime` end.
  explicit BackgroundQueue(std::chrono::milliseconds idleTime = kIdleTime);
  ~BackgroundQueue() override;

  /// False when the system gave no thread to begin with: items may then wait for ever.
  bool hasThread();

  /// Drops the item when the queue is shut down.
  void async(std::function<void()> work) override;

  /// Drops the items that wait, and every later one, and returns when those that were running are
  /// done and every thread has ended.
  void shutDown();

 private:
  struct Worker {
    std::thread thread;
    pid_t id = 0;        ///< 0 until the thread has begun
    bool woken = false;  ///< taken off `idle_` by another thread
    NSCondition wake;
  };

  bool startWorker() QUORVIN_REQUIRES(lock_);
  void work(const std::shared_ptr<Worker>& worker);
  void runFirst() QUORVIN_REQUIRES(lock_);
  bool waitForWork(const std::shared_ptr<Worker>& worker) QUORVIN_REQUIRES(lock_);
  void wakeMonitor() QUORVIN_REQUIRES(lock_);
  void monitor();
  std::size_t countRunnable() QUORVIN_REQUIRES(lock_);

  const std::chrono::milliseconds idleTime_;
  const std::size_t processors_;
  const std::size_t threadLimit_;

  NSLock shutDownLock_;  ///< one shutdown at a time; taken before `lock_`
  NSLock lock_;
  std::deque<std::function<void()>> items_ QUORVIN_GUARDED_BY(lock_);
  std::uint64_t taken_ QUORVIN_GUARDED_BY(lock_) = 0;  ///< items taken so far
  std::vector<std::shared_ptr<Worker>> workers_ QUORVIN_GUARDED_BY(lock_);
  /// The last to idle is the first to be woken: its caches are warm, and the surplus ends.
  std::vector<std::shared_ptr<Worker>> idle_ QUORVIN_GUARDED_BY(lock_);
  /// The last worker thread that ended; each joins the one before it.
  std::thread ended_ QUORVIN_GUARDED_BY(lock_);
  NSCondition noWorkers_;

  std::thread monitor_ QUORVIN_GUARDED_BY(lock_);
  bool monitorAsleep_ QUORVIN_GUARDED_BY(lock_) = false;
  NSCondition monitorWake_;
  bool closed_ QUORVIN_GUARDED_BY(lock_) = false;
};

}  // namespace quorvin
