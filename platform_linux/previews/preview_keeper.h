// Makes the previews of a library in the background, while an engine uses it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "core/platform/lock.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/previews/preview_store.h"
#include "platform_linux/media/failure_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/previews/preview_making.h"

namespace quorvin {

/// One thread and one media worker of the lowest priority, which work only while nobody waits for a
/// picture. What was added last comes first, and what somebody asked for in vain before that. Of
/// several engines, in whichever processes, one does it. Any thread.
class PreviewKeeper {
 public:
  struct Options {
    std::string mediaWorker;  ///< the program
    /// For how long nobody may have asked for anything.
    std::chrono::milliseconds calm = std::chrono::seconds(2);
  };
  /// `failures` outlives it.
  PreviewKeeper(std::shared_ptr<Catalogue> catalogue, FailureMemory& failures, Options options);
  ~PreviewKeeper() { shutDown(); }
  PreviewKeeper(const PreviewKeeper&) = delete;
  PreviewKeeper& operator=(const PreviewKeeper&) = delete;

  PreviewStore& store() { return store_; }

  /// Somebody waits for a picture as long as it lives.
  class Request {
   public:
    explicit Request(PreviewKeeper& keeper);
    ~Request();
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

   private:
    PreviewKeeper& keeper_;
  };

  /// A preview would have served, and was not there.
  void miss(PreviewJob job);
  /// A rendering that is as large as a preview, and may become it.
  void offer(PreviewJob job, const PreviewSide& side, std::shared_ptr<const RenderedImage> image);

  /// Ends what is under way; nothing more is made. Returns when the thread has ended. One thread.
  void shutDown();

 private:
  using Clock = std::chrono::steady_clock;
  struct Offer {
    PreviewJob job;
    PreviewSide side;
    std::shared_ptr<const RenderedImage> image;
  };
  class Commits;

  void run();
  /// False when it is to end.
  bool waitForCalm();
  bool isAnythingToDo() const QUORVIN_REQUIRES(lock_);
  void work();
  /// False when nothing is left, or nothing more can be done.
  bool workOnce(MediaService& media);
  std::optional<Offer> takeOffer();
  std::optional<PreviewJob> takeMissed();
  /// The next picture that has not had its turn.
  std::optional<PreviewJob> nextInLibrary();
  void forgetWork();
  void wake();

  const std::shared_ptr<Catalogue> catalogue_;
  FailureMemory& failures_;
  const Options options_;
  PreviewStore store_;
  std::shared_ptr<Commits> commits_;

  NSLock lock_;
  NSCondition changed_;
  bool isClosing_ QUORVIN_GUARDED_BY(lock_) = false;
  bool isDue_ QUORVIN_GUARDED_BY(lock_) = true;
  std::size_t requests_ QUORVIN_GUARDED_BY(lock_) = 0;
  Clock::time_point lastRequest_ QUORVIN_GUARDED_BY(lock_) = Clock::now();
  std::deque<PreviewJob> missed_ QUORVIN_GUARDED_BY(lock_);
  std::deque<Offer> offers_ QUORVIN_GUARDED_BY(lock_);
  MediaWorkerPool* pool_ QUORVIN_GUARDED_BY(lock_) = nullptr;
  std::stop_source stop_;

  /// From the last row to those that had their turn before.
  struct Walk {
    std::int64_t begin = 0;
    std::int64_t at = 0;  ///< all from here on had their turn
    std::int64_t end = 0;
    std::deque<ShownFile> files;  ///< the next
  };
  // Used by the thread.
  std::optional<Walk> walk_;
  bool isWalkDue_ = false;
  bool hasFinished_ = false;  ///< there was nothing left to do
  std::size_t failuresInRow_ = 0;

  std::thread thread_;
};

}  // namespace quorvin
