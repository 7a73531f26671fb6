// The worker programs of a pool: started, kept while they idle, ended.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/platform/lock.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/media/restart_pause.h"
#include "platform_linux/media/worker_process.h"

namespace quorvin {

/// Any thread.
class WorkerKeeper {
 public:
  using Clock = WorkerProcess::Clock;
  using Started = Result<std::unique_ptr<WorkerProcess>>;

  /// Why a worker is given up.
  enum class End {
    unreliable,  ///< it may still live, but is late, unwanted, or answered nonsense
    died,        ///< over a request
    notStarted,  ///< before it took its first request
  };

  /// Starts no worker yet. Of the environment workers see TZ and LANG, as they are now.
  WorkerKeeper(std::string program, std::chrono::milliseconds idleTimeLimit);
  /// Comes after `shutDown`.
  ~WorkerKeeper() = default;

  /// The worker of that kind that was used last, so that those that are too many grow old; null
  /// when none idles.
  std::unique_ptr<WorkerProcess> takeIdle(WorkerProcess::Kind kind) QUORVIN_EXCLUDES(lock_);

  /// A fresh worker that may take so much. Where the last ones came to nothing it waits for a
  /// while, or refuses at once: when none can start at all, or the wait would take longer than
  /// until the deadline.
  Started start(WorkerProcess::Kind kind, Clock::time_point deadline, std::int64_t memory = 0)
      QUORVIN_EXCLUDES(lock_);

  /// Takes back a worker that did well: it idles, unless it has served its time.
  void keep(std::unique_ptr<WorkerProcess> process) QUORVIN_EXCLUDES(lock_);
  /// Takes back a worker that cannot be relied on, and ends it.
  void giveUp(std::unique_ptr<WorkerProcess> process, End end) QUORVIN_EXCLUDES(lock_);

  /// Ends what workers do at once, and gives out none any more.
  void close() QUORVIN_EXCLUDES(lock_);
  /// After `close`, and when all workers came back: returns when every one is reaped.
  void shutDown() QUORVIN_EXCLUDES(lock_);

  /// What becomes of requests once it is closed.
  static Failure closedError();

 private:
  struct IdleWorker {
    std::unique_ptr<WorkerProcess> process;
    Clock::time_point since;
  };
  struct StartOrder {
    const WorkerProcess::Kind kind;
    const std::int64_t memory;
    NSCondition done;
    std::optional<Started> started;
  };
  /// What the thread has to do next; neither when it is to end.
  struct Duty {
    StartOrder* start = nullptr;
    std::unique_ptr<WorkerProcess> end;
  };

  std::optional<Failure> waitForPause(Clock::time_point deadline) QUORVIN_REQUIRES(lock_);
  void run() QUORVIN_EXCLUDES(lock_);
  Duty waitForDuty() QUORVIN_EXCLUDES(lock_);

  const std::string program_;
  const std::chrono::milliseconds idleTimeLimit_;
  const std::vector<std::string> environment_;

  NSLock lock_;
  NSCondition duty_;
  NSCondition pauseOver_;
  bool closed_ QUORVIN_GUARDED_BY(lock_) = false;
  bool ends_ QUORVIN_GUARDED_BY(lock_) = false;
  RestartPause pause_ QUORVIN_GUARDED_BY(lock_);
  std::vector<const WorkerProcess*> busy_ QUORVIN_GUARDED_BY(lock_);
  std::deque<IdleWorker> idle_ QUORVIN_GUARDED_BY(lock_);     ///< the longest idle first
  std::deque<IdleWorker> leaving_ QUORVIN_GUARDED_BY(lock_);  ///< those that idled at the closing
  std::deque<StartOrder*> orders_ QUORVIN_GUARDED_BY(lock_);
  /// The thread waits for no moment; else it looks at the idle workers by itself, in time.
  bool rests_ QUORVIN_GUARDED_BY(lock_) = false;

  /// Starts workers, which inherit its priority and not that of a background thread which happens
  /// to ask first, and ends those that idle for too long.
  std::thread thread_;
};

}  // namespace quorvin
