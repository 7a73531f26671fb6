#include "platform_linux/library/snapshots/snapshot_keeper.h"

#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/library/catalogue/trash_rows.h"
#include "platform_linux/library/snapshots/snapshot.h"

namespace quorvin {
namespace {

constexpr std::int64_t kMostChanges = 1000;
constexpr std::chrono::nanoseconds kLongest = std::chrono::hours(24);
// So little is copied whenever it was changed and is closed: some ten thousand assets.
constexpr std::int64_t kQuickToCopy = 4'000'000;
// After one that could not be made: the disk may be full.
constexpr std::chrono::minutes kPause{10};
// Whoever closes waits so long, and no longer.
constexpr std::chrono::seconds kWaitAtClosing{2};

}  // namespace

SnapshotKeeper::~SnapshotKeeper() {
  std::thread thread;
  {
    NSLockHolder holder(lock_);
    isClosing_ = true;
    thread = std::move(thread_);
  }
  if (!thread.joinable()) return;
  changed_.signal();
  {
    const auto limit = Clock::now() + kWaitAtClosing;
    NSLockHolder holder(lock_);
    while (!hasEnded_ && ended_.waitUntil(lock_, limit)) {
    }
  }
  isCancelled_ = true;
  thread.join();
}

void SnapshotKeeper::committed() {
  {
    NSLockHolder holder(lock_);
    isDue_ = true;
    if (!thread_.joinable()) thread_ = startThread("quorvin-keep", [this] { keep(); });
  }
  changed_.signal();
}

void SnapshotKeeper::keep() {
  lowerPriority();
  auto next = Clock::time_point::max();
  for (;;) {
    bool isClosing = false;
    {
      NSLockHolder holder(lock_);
      while (!isDue_ && !isClosing_ && Clock::now() < next) {
        if (next == Clock::time_point::max()) {
          changed_.wait(lock_);
        } else {
          changed_.waitUntil(lock_, next);
        }
      }
      isDue_ = false;
      isClosing = isClosing_;
    }
    next = look(isClosing);
    if (isClosing) break;
  }
  catalogue_.reset();
  NSLockHolder holder(lock_);
  hasEnded_ = true;
  ended_.signal();
}

SnapshotKeeper::Clock::time_point SnapshotKeeper::look(bool isClosing) {
  constexpr auto kNever = Clock::time_point::max();
  if (catalogue_ == nullptr) {
    auto opened = Database::open(folder_.catalogueFile(), Database::Use::read);
    if (!opened) return kNever;
    catalogue_ = *std::move(opened);
  }
  // The disk is full, and whoever reads keeps its log from being emptied.
  if (folder_.reserve().isInUse()) return Clock::now() + kPause;
  const auto age = ageOfNewestSnapshot(folder_, *catalogue_);
  if (!age || age->changes == 0) return kNever;
  // A clock that was put back makes the snapshot look as if it were yet to come.
  const std::chrono::nanoseconds old(presentTime() - age->made);
  const bool isDue = age->changes >= kMostChanges || old >= kLongest || old.count() < 0;
  const bool isQuick = !age->isAny || age->bytes <= kQuickToCopy;
  if (!isDue && !(isClosing && isQuick)) return Clock::now() + (kLongest - old);
  if (!isClosing && Clock::now() < notBefore_) return notBefore_;
  const auto made = makeSnapshot(
      folder_, *catalogue_, [this] { return isCancelled_ || folder_.reserve().isInUse(); },
      isDue ? OlderSnapshots::keep : OlderSnapshots::replaceNewest);
  if (made) return kNever;
  notBefore_ = Clock::now() + kPause;
  return notBefore_;
}

}  // namespace quorvin
