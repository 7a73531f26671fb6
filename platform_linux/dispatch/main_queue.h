// The main queue: work for the platform thread, which the embedder drives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>

#include "core/platform/dispatch.h"
#include "core/platform/foundation.h"
#include "core/platform/lock.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A serial queue whose items run inside `run`, in order of submission, on the platform thread.
///
/// An embedder either waits inside `run`, or watches `fd` in an event loop of its own and calls
/// `run(0)` when it is readable. An item must not throw: an exception that leaves it ends the
/// process. `async`, `fd` and `close` may be called on any thread, `run` on the platform thread
/// alone. The queue must outlive every caller, so no item may destroy it.
class MainQueue final : public DispatchQueue {
 public:
  /// `event` is a non-blocking eventfd at zero.
  explicit MainQueue(FileDescriptor event) : event_(std::move(event)) {}

  /// A closed queue drops the item.
  void async(std::function<void()> work) override;

  /// Readable while work waits. (A platform thread that waits inside `run` is woken directly, and
  /// the descriptor stays as it is.) Not to be read: `run` does it. Valid as long as the queue.
  int fd() const { return event_.get(); }

  /// Runs the items that wait and returns how many ran. When none waits: 0 returns at once, a
  /// positive timeout (milliseconds) waits at most that long for one, a negative timeout waits
  /// until there is one.
  ///
  /// Runs what waited when the first item began. What is submitted meanwhile is left to the next
  /// call, with `fd` readable, so that items which submit items cannot keep the caller for ever.
  /// An item may call `run`: the inner call runs what then waits, and counts it as its own.
  /// Returns when the queue is closed.
  std::size_t run(int timeoutMs);

  /// Drops the items that wait, and every later one. One that is running is not waited for.
  void close();

 private:
  void waitForWork(int timeoutMs) QUORVIN_REQUIRES(lock_);
  void runFirst() QUORVIN_REQUIRES(lock_);
  void setReadable(bool readable) QUORVIN_REQUIRES(lock_);

  const FileDescriptor event_;
  NSLock lock_;
  NSCondition arrived_;
  std::deque<std::function<void()>> items_ QUORVIN_GUARDED_BY(lock_);
  std::uint64_t taken_ QUORVIN_GUARDED_BY(lock_) = 0;  ///< items taken so far, by any `run`
  bool waiting_ QUORVIN_GUARDED_BY(lock_) = false;     ///< the platform thread waits in `run`
  bool readable_ QUORVIN_GUARDED_BY(lock_) = false;    ///< the state of `event_`
  bool closed_ QUORVIN_GUARDED_BY(lock_) = false;
};

}  // namespace quorvin
