// The requests of an image manager: their threads, their order, cancelling them.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/platform/foundation.h"
#include "core/platform/images.h"
#include "core/platform/lock.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/media/newest_first.h"

namespace quorvin {

/// Runs requests on threads of its own, in two lanes, so that large pictures hold up no small ones.
/// Of those that wait the newest runs first, and now and then the oldest, together with those that
/// ask for the same. Any thread.
class ImageRequests {
 public:
  class Progress;

  /// Makes one call of the request's handler.
  using Delivery = std::function<void(const PHImageInfo& info)>;

  struct Work {
    /// Does what was asked for, and returns how the final call is made. An error is delivered
    /// through `giveUp`.
    std::function<Result<Delivery>(const Progress&)> run;
    /// Calls the handler with no result.
    Delivery giveUp;
    /// It may take long.
    bool isLarge = false;
    /// Equal for works that ask for the same, so that they run one after another while the results
    /// are still there; empty for a work like no other.
    std::string key{};
  };

  /// With so many threads a lane, of the priority of the thread that calls this.
  explicit ImageRequests(std::size_t threadCount);
  ~ImageRequests();

  /// A synchronous request is over when this returns; any other runs later. Once a shutdown has
  /// begun the work is dropped.
  PHImageRequestID start(bool isSynchronous, Work work);

  /// The request's final call will say that it was cancelled, unless it is under way or over. A
  /// request that waits moves to the front; one that runs is told to stop, unless another that asks
  /// for the same runs with it.
  void cancel(PHImageRequestID id);

  /// Drops what waits and lets no further call of a handler begin, but for those that are just
  /// about to. Returns at once.
  void beginShutDown();

  /// `beginShutDown`, and waits until nothing runs any more and no handler is held. One thread, not
  /// from inside a handler.
  void shutDown();

 private:
  /// Requests that run together, and stop when none of them is wanted.
  struct Group {
    std::stop_source stop;
    std::size_t wanted;  ///< guarded by `lock_`
  };
  struct Request {
    PHImageRequestID id;
    Work work;
    bool cancelled = false;  ///< guarded by `lock_`
    /// Of those that run together; none before. Guarded by `lock_`.
    std::shared_ptr<Group> group;
  };
  using Requests = std::vector<std::shared_ptr<Request>>;
  enum class Ending { usual, cancelled, dropped };

  /// Requests that wait for the same threads.
  struct Lane {
    NSCondition arrived;
    std::deque<std::shared_ptr<Request>> waiting;    ///< the oldest first; guarded by `lock_`
    std::deque<std::shared_ptr<Request>> cancelled;  ///< of those; guarded by `lock_`
    NewestFirst order;                               ///< guarded by `lock_`
    std::vector<std::thread> threads;                ///< as many as the system gave
  };
  Lane& laneOf(const Work& work) { return work.isLarge ? large_ : small_; }

  void serve(Lane& lane);
  /// Those that run next; none once a shutdown has begun.
  Requests next(Lane& lane) QUORVIN_EXCLUDES(lock_);
  void group(Requests& requests) QUORVIN_REQUIRES(lock_);
  void run(Requests requests) noexcept QUORVIN_EXCLUDES(lock_);
  void finish(const Request& request, std::optional<Result<Delivery>>& outcome);
  bool isWanted(const Request& request) QUORVIN_EXCLUDES(lock_);
  Ending end(const Request& request) QUORVIN_EXCLUDES(lock_);

  NSLock lock_;
  NSCondition finished_;
  bool shutDown_ QUORVIN_GUARDED_BY(lock_) = false;
  PHImageRequestID lastId_ QUORVIN_GUARDED_BY(lock_) = 0;
  std::size_t running_ QUORVIN_GUARDED_BY(lock_) = 0;
  /// Those whose final call has not begun.
  std::map<PHImageRequestID, std::shared_ptr<Request>> open_ QUORVIN_GUARDED_BY(lock_);

  Lane small_;
  Lane large_;
};

/// What the work of a running request may ask and say.
class ImageRequests::Progress {
 public:
  /// False when the request was cancelled, so that the rest of the work is in vain.
  bool isWanted() const { return requests_.isWanted(request_); }
  /// Stopped when neither the request nor one that runs with it is wanted.
  const std::stop_token& stop() const { return stop_; }
  /// Makes a call that another will follow, unless the request is no longer wanted.
  void deliverDegraded(const Delivery& delivery) const;

 private:
  friend class ImageRequests;
  Progress(ImageRequests& requests, const Request& request, std::stop_token stop)
      : requests_(requests), request_(request), stop_(std::move(stop)) {}

  ImageRequests& requests_;
  const Request& request_;
  const std::stop_token stop_;
};

}  // namespace quorvin
