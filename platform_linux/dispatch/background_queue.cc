#include "platform_linux/dispatch/background_queue.h"

#include <algorithm>
#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/dispatch/work_item.h"

namespace quorvin {
namespace {

/// Work that waits this long without any being taken has the pool look for blocked threads.
constexpr std::chrono::milliseconds kStall{5};

}  // namespace

BackgroundQueue::BackgroundQueue(std::chrono::milliseconds idleTime)
    : idleTime_(idleTime),
      processors_(std::max(std::thread::hardware_concurrency(), 1u)),
      threadLimit_(std::max(processors_, kThreadLimit)) {
  NSLockHolder hold(lock_);
  startWorker();
}

BackgroundQueue::~BackgroundQueue() {
  shutDown();
}

bool BackgroundQueue::hasThread() {
  NSLockHolder hold(lock_);
  return !workers_.empty();
}

void BackgroundQueue::async(std::function<void()> work) {
  std::shared_ptr<Worker> woken;
  {
    NSLockHolder hold(lock_);
    if (closed_) return;
    items_.push_back(std::move(work));
    if (!idle_.empty()) {
      woken = std::move(idle_.back());
      idle_.pop_back();
      woken->woken = true;
    } else if (workers_.size() >= processors_ || !startWorker()) {
      wakeMonitor();
    }
  }
  // It takes the lock at once, so it is woken when the lock is free.
  if (woken != nullptr) woken->wake.signal();
}

void BackgroundQueue::shutDown() {
  NSLockHolder holdShutDown(shutDownLock_);
  std::deque<std::function<void()>> dropped;
  std::thread ended;
  std::thread monitor;
  {
    NSLockHolder hold(lock_);
    closed_ = true;
    dropped.swap(items_);
    for (const auto& worker : std::exchange(idle_, {})) {
      worker->woken = true;
      worker->wake.signal();
    }
    monitorWake_.signal();
  }
  dropped.clear();  // without the lock: what the items held may submit work
  {
    NSLockHolder hold(lock_);
    while (!workers_.empty()) noWorkers_.wait(lock_);
    ended.swap(ended_);
    monitor.swap(monitor_);
  }
  if (ended.joinable()) ended.join();
  if (monitor.joinable()) monitor.join();
}

bool BackgroundQueue::startWorker() {
  auto worker = std::make_shared<Worker>();
  worker->thread = startThread("quorvin-work", [this, worker] { work(worker); });
  // Without another thread those that there are see to the work.
  if (!worker->thread.joinable()) return false;
  workers_.push_back(std::move(worker));
  return true;
}

void BackgroundQueue::work(const std::shared_ptr<Worker>& worker) {
  lowerPriority();
  std::thread endedBefore;
  {
    NSLockHolder hold(lock_);
    worker->id = currentThreadId();
    do {
      while (!items_.empty()) runFirst();
    } while (!closed_ && waitForWork(worker));

    endedBefore = std::exchange(ended_, std::move(worker->thread));
    std::erase(workers_, worker);
    if (workers_.empty()) noWorkers_.broadcast();
  }
  if (endedBefore.joinable()) endedBefore.join();
}

void BackgroundQueue::runFirst() {
  std::function<void()> item = std::move(items_.front());
  items_.pop_front();
  ++taken_;
  lock_.unlock();
  runWorkItem(item);
  lock_.lock();
}

/// False when none came in time. The last thread waits as long as it takes.
bool BackgroundQueue::waitForWork(const std::shared_ptr<Worker>& worker) {
  const auto deadline = std::chrono::steady_clock::now() + idleTime_;
  worker->woken = false;
  idle_.push_back(worker);
  while (!worker->woken) {
    if (workers_.size() == 1) {
      worker->wake.wait(lock_);
    } else if (!worker->wake.waitUntil(lock_, deadline) && !worker->woken && workers_.size() > 1) {
      std::erase(idle_, worker);
      return false;
    }
  }
  return true;
}

void BackgroundQueue::wakeMonitor() {
  if (monitorAsleep_) {
    monitorAsleep_ = false;
    monitorWake_.signal();
  } else if (!monitor_.joinable()) {
    // Without a monitor the pool does not grow; the next item tries again.
    monitor_ = startThread("quorvin-watch", [this] { this->monitor(); });
  }
}

/// Starts threads while work waits and those there are blocked. Sleeps while no work waits.
void BackgroundQueue::monitor() {
  NSLockHolder hold(lock_);
  while (!closed_) {
    if (items_.empty()) {
      monitorAsleep_ = true;
      monitorWake_.wait(lock_);
      monitorAsleep_ = false;
      continue;
    }
    const std::uint64_t takenBefore = taken_;
    monitorWake_.waitUntil(lock_, std::chrono::steady_clock::now() + kStall);
    if (closed_ || items_.empty() || taken_ != takenBefore) continue;
    const std::size_t runnable = countRunnable();
    if (closed_ || runnable >= processors_) continue;
    std::size_t missing =
        std::min({processors_ - runnable, items_.size(), threadLimit_ - workers_.size()});
    while (missing > 0 && startWorker()) --missing;
  }
}

std::size_t BackgroundQueue::countRunnable() {
  std::vector<pid_t> threads;
  for (const auto& worker : workers_) threads.push_back(worker->id);
  // The lock is what submitters wait for.
  lock_.unlock();
  // A thread that has not begun yet has no number, and is about to run.
  const auto runnable = std::count_if(threads.begin(), threads.end(), [](pid_t thread) {
    return thread == 0 || isRunnable(thread);
  });
  lock_.lock();
  return static_cast<std::size_t>(runnable);
}

}  // namespace quorvin
