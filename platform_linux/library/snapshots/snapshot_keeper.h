// Makes snapshots of the catalogue while it is used.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "core/platform/lock.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// The newest snapshot lags behind the catalogue by less than a thousand changes, and by less than
/// a day of use. When a library is closed that was changed, it gets one where it has none yet, and
/// where it is small; it takes the place of the newest unless that one was due. All work is done on
/// a thread of its own, which is there from the first commit on; where the system gives none, the
/// next one who uses the library makes up for it.
class SnapshotKeeper final : public CommitListener {
 public:
  explicit SnapshotKeeper(LibraryFolder folder) : folder_(std::move(folder)) {}
  /// Waits a short while for a snapshot that is being made, or due.
  ~SnapshotKeeper() override;

  /// Costs next to nothing.
  void committed() override;

 private:
  using Clock = std::chrono::steady_clock;
  void keep();
  /// When to look again at the latest.
  Clock::time_point look(bool isClosing);

  const LibraryFolder folder_;
  std::unique_ptr<Database> catalogue_;  ///< used by the thread
  Clock::time_point notBefore_{};        ///< used by the thread
  std::atomic<bool> isCancelled_ = false;
  NSLock lock_;
  NSCondition changed_;
  NSCondition ended_;
  bool isDue_ QUORVIN_GUARDED_BY(lock_) = false;
  bool isClosing_ QUORVIN_GUARDED_BY(lock_) = false;
  bool hasEnded_ QUORVIN_GUARDED_BY(lock_) = false;
  std::thread thread_ QUORVIN_GUARDED_BY(lock_);
};

}  // namespace quorvin
