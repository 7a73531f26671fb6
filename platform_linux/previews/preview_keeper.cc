#include "platform_linux/previews/preview_keeper.h"

#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/library/catalogue/library_lock.h"
#include "platform_linux/media/remembering_media.h"

namespace quorvin {
namespace {

// Beyond that what came first is forgotten: it is made in its turn.
constexpr std::size_t kMostMissed = 1000;
// Each keeps the memory of its pixels.
constexpr std::size_t kMostOffers = 8;
// Then it is not the pictures' doing.
constexpr std::size_t kMostFailuresInRow = 8;
// For the one worker's rendering.
constexpr std::int64_t kMemory = std::int64_t{1} << 30;

}  // namespace

/// What was added may want previews.
class PreviewKeeper::Commits final : public CommitListener {
 public:
  explicit Commits(PreviewKeeper& keeper) : keeper_(&keeper) {}
  void committed() override {
    NSLockHolder holder(lock_);
    if (keeper_ != nullptr) keeper_->wake();
  }
  void end() {
    NSLockHolder holder(lock_);
    keeper_ = nullptr;
  }

 private:
  NSLock lock_;
  PreviewKeeper* keeper_ QUORVIN_GUARDED_BY(lock_);
};

PreviewKeeper::Request::Request(PreviewKeeper& keeper) : keeper_(keeper) {
  NSLockHolder holder(keeper_.lock_);
  ++keeper_.requests_;
}

PreviewKeeper::Request::~Request() {
  NSLockHolder holder(keeper_.lock_);
  --keeper_.requests_;
  keeper_.lastRequest_ = Clock::now();
}

PreviewKeeper::PreviewKeeper(std::shared_ptr<Catalogue> catalogue, FailureMemory& failures,
                             Options options)
    : catalogue_(std::move(catalogue)),
      failures_(failures),
      options_(std::move(options)),
      store_(catalogue_->folder()) {
  if (catalogue_->folder().refusal) return;
  commits_ = std::make_shared<Commits>(*this);
  catalogue_->tell(commits_);
  thread_ = startThread("quorvin-preview", [this] { run(); });
}

void PreviewKeeper::shutDown() {
  if (commits_) commits_->end();
  stop_.request_stop();
  {
    NSLockHolder holder(lock_);
    isClosing_ = true;
    if (pool_ != nullptr) pool_->shutDown();
  }
  changed_.signal();
  if (thread_.joinable()) thread_.join();
}

void PreviewKeeper::wake() {
  {
    NSLockHolder holder(lock_);
    isDue_ = true;
  }
  changed_.signal();
}

void PreviewKeeper::miss(PreviewJob job) {
  {
    NSLockHolder holder(lock_);
    if (missed_.size() == kMostMissed) missed_.pop_front();
    missed_.push_back(std::move(job));
  }
  changed_.signal();
}

void PreviewKeeper::offer(PreviewJob job, const PreviewSide& side,
                          std::shared_ptr<const RenderedImage> image) {
  {
    NSLockHolder holder(lock_);
    if (offers_.size() == kMostOffers) offers_.pop_front();
    offers_.push_back({std::move(job), side, std::move(image)});
  }
  changed_.signal();
}

bool PreviewKeeper::isAnythingToDo() const {
  return isDue_ || walk_ || !missed_.empty() || !offers_.empty();
}

bool PreviewKeeper::waitForCalm() {
  NSLockHolder holder(lock_);
  for (;;) {
    if (isClosing_) return false;
    if (!isAnythingToDo()) {
      changed_.wait(lock_);
      continue;
    }
    const auto now = Clock::now();
    const auto calm = (requests_ > 0 ? now : lastRequest_) + options_.calm;
    if (requests_ == 0 && now >= calm) return true;
    changed_.waitUntil(lock_, calm);
  }
}

void PreviewKeeper::run() {
  lowerPriority();
  while (waitForCalm()) work();
}

void PreviewKeeper::work() {
  {
    NSLockHolder holder(lock_);
    hasFinished_ = false;
    isWalkDue_ = std::exchange(isDue_, false) || isWalkDue_;
  }
  const LibraryFolder& folder = catalogue_->folder();
  const auto turn =
      LibraryLock::tryAcquire(folder, LibraryLock::Area::previews, LibraryLock::Mode::exclusive);
  if (!turn) return forgetWork();
  // Threads and programs inherit the priority of who starts them.
  MediaWorkerPool pool({.program = options_.mediaWorker, .size = 1, .memory = kMemory});
  RememberingMedia media(pool, pool, failures_);
  {
    NSLockHolder holder(lock_);
    if (isClosing_) return;
    pool_ = &pool;
  }
  while (hasRoomForPreviews(folder) && workOnce(media)) {
    if (!waitForCalm()) break;
  }
  {
    NSLockHolder holder(lock_);
    pool_ = nullptr;
  }
  // What has come since the last look is work for the next time.
  if (!hasFinished_) return forgetWork();
  failuresInRow_ = 0;
}

bool PreviewKeeper::workOnce(MediaService& media) {
  if (const auto offered = takeOffer()) {
    return static_cast<bool>(
        keepRendering(offered->job, offered->side, *offered->image, media, store_));
  }
  auto job = takeMissed();
  if (!job) job = nextInLibrary();
  hasFinished_ = !job && !walk_ && !isWalkDue_;
  if (!job) return false;
  const auto outcome = makePreviews(*job, media, store_, stop_.get_token());
  if (!outcome) return false;
  failuresInRow_ = *outcome == PreviewOutcome::failed ? failuresInRow_ + 1 : 0;
  return failuresInRow_ < kMostFailuresInRow;
}

std::optional<PreviewKeeper::Offer> PreviewKeeper::takeOffer() {
  NSLockHolder holder(lock_);
  if (offers_.empty()) return std::nullopt;
  std::optional<Offer> offered = std::move(offers_.front());
  offers_.pop_front();
  return offered;
}

std::optional<PreviewJob> PreviewKeeper::takeMissed() {
  NSLockHolder holder(lock_);
  if (missed_.empty()) return std::nullopt;
  std::optional<PreviewJob> job = std::move(missed_.back());
  missed_.pop_back();
  return job;
}

std::optional<PreviewJob> PreviewKeeper::nextInLibrary() {
  Catalogue::Reader database = catalogue_->reader();
  if (!database) return std::nullopt;
  if (!walk_) {
    if (!std::exchange(isWalkDue_, false)) return std::nullopt;
    const std::int64_t last = lastAsset(*database);
    walk_ = Walk{last, last + 1, store_.doneUpTo(), {}};
  }
  if (walk_->files.empty()) {
    auto files = shownFiles(*database, walk_->at, walk_->end, leastSide(kGridSide));
    if (!files) return std::nullopt;
    walk_->files.assign(files->begin(), files->end());
  }
  if (walk_->files.empty()) {
    if (walk_->begin > walk_->end) store_.setDoneUpTo(walk_->begin);
    walk_.reset();
    return std::nullopt;
  }
  const ShownFile file = std::move(walk_->files.front());
  walk_->files.pop_front();
  walk_->at = file.asset;
  return previewJob(catalogue_->folder(), file);
}

void PreviewKeeper::forgetWork() {
  walk_.reset();
  isWalkDue_ = false;
  failuresInRow_ = 0;
  NSLockHolder holder(lock_);
  missed_.clear();
  offers_.clear();
}

}  // namespace quorvin
