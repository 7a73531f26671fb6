// A plain lock, annotated for static analysis of what it guards.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define QUORVIN_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define QUORVIN_THREAD_ANNOTATION(x)
#endif
#define QUORVIN_CAPABILITY(x) QUORVIN_THREAD_ANNOTATION(capability(x))
#define QUORVIN_SCOPED_CAPABILITY QUORVIN_THREAD_ANNOTATION(scoped_lockable)
#define QUORVIN_GUARDED_BY(x) QUORVIN_THREAD_ANNOTATION(guarded_by(x))
#define QUORVIN_REQUIRES(...) QUORVIN_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define QUORVIN_EXCLUDES(...) QUORVIN_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define QUORVIN_ACQUIRE(...) QUORVIN_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define QUORVIN_TRY_ACQUIRE(...) QUORVIN_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define QUORVIN_RELEASE(...) QUORVIN_THREAD_ANNOTATION(release_capability(__VA_ARGS__))

namespace quorvin {

/// Not reentrant: the holder must not take it a second time. Unlocked by the thread that locked it.
class QUORVIN_CAPABILITY("mutex") NSLock {
 public:
  void lock() QUORVIN_ACQUIRE() { mutex_.lock(); }
  void unlock() QUORVIN_RELEASE() { mutex_.unlock(); }
  /// False when another thread holds it.
  bool tryLock() QUORVIN_TRY_ACQUIRE(true) { return mutex_.try_lock(); }

 private:
  friend class NSCondition;
  std::mutex mutex_;
};

/// Waiting for what another thread does. The waiter holds the lock, which is free while it waits;
/// it may wake without being woken.
class NSCondition {
 public:
  void wait(NSLock& lock) QUORVIN_REQUIRES(lock) {
    std::unique_lock<std::mutex> held(lock.mutex_, std::adopt_lock);
    condition_.wait(held);
    held.release();
  }
  /// False when the time came first.
  bool waitUntil(NSLock& lock, std::chrono::steady_clock::time_point limit) QUORVIN_REQUIRES(lock) {
    std::unique_lock<std::mutex> held(lock.mutex_, std::adopt_lock);
    const bool woken = condition_.wait_until(held, limit) == std::cv_status::no_timeout;
    held.release();
    return woken;
  }
  /// Wakes one waiter. Best called when the lock is free, which the waiter takes at once.
  void signal() { condition_.notify_one(); }
  /// Wakes every waiter.
  void broadcast() { condition_.notify_all(); }

 private:
  std::condition_variable condition_;
};

/// Holds a lock for a scope.
class QUORVIN_SCOPED_CAPABILITY NSLockHolder {
 public:
  explicit NSLockHolder(NSLock& lock) QUORVIN_ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
  ~NSLockHolder() QUORVIN_RELEASE() { lock_.unlock(); }
  NSLockHolder(const NSLockHolder&) = delete;
  NSLockHolder& operator=(const NSLockHolder&) = delete;

 private:
  NSLock& lock_;
};

}  // namespace quorvin
