#include "platform_linux/previews/all_previews.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "core/platform/lock.h"
#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/shown_files.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/previews/preview_store.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/previews/preview_making.h"

namespace quorvin {
namespace {

/// Several threads take one picture after another.
class Making {
 public:
  Making(Catalogue& catalogue, MediaService& media, PreviewObserver& observer,
         std::optional<std::size_t> latest, std::stop_token stop)
      : catalogue_(catalogue),
        media_(media),
        observer_(observer),
        latest_(latest),
        stop_(std::move(stop)),
        store_(catalogue.folder()) {}

  Result<AllPreviews> run(std::size_t threads) {
    Done begun = begin();
    if (!begun) return begun.error();
    std::vector<std::thread> others;
    for (std::size_t i = 1; i < threads; ++i) {
      std::thread other = startThread("quorvin-preview", [this] { work(); });
      if (other.joinable()) others.push_back(std::move(other));
    }
    work();
    for (std::thread& other : others) other.join();
    NSLockHolder holder(lock_);
    if (failure_) return *failure_;
    if (!stop_.stop_requested() && store_.doneUpTo() >= before_) store_.setDoneUpTo(last_);
    return outcome_;
  }

 private:
  Done begin() {
    if (catalogue_.folder().refusal) return *catalogue_.folder().refusal;
    Catalogue::Reader database = catalogue_.reader();
    if (!database) return database.error();
    NSLockHolder holder(lock_);
    last_ = lastAsset(*database);
    next_ = last_ + 1;
    if (latest_) before_ = std::max<std::int64_t>(0, last_ - static_cast<std::int64_t>(*latest_));
    const auto total = countShownFiles(*database, before_, leastSide(kGridSide));
    if (!total) return unreadable(*database);
    observer_.picturesFound(static_cast<std::size_t>(*total));
    return Null{};
  }

  void work() {
    while (const auto job = take()) note(makePreviews(*job, media_, store_, {}));
  }

  std::optional<PreviewJob> take() {
    NSLockHolder holder(lock_);
    if (failure_ || stop_.stop_requested()) return std::nullopt;
    if (files_.empty()) read();
    if (files_.empty()) return std::nullopt;
    PreviewJob job = previewJob(catalogue_.folder(), files_.front());
    next_ = files_.front().asset;
    files_.pop_front();
    return job;
  }

  void read() QUORVIN_REQUIRES(lock_) {
    if (!hasRoomForPreviews(catalogue_.folder())) {
      failure_ = Failure(LibraryErrorCode::notEnoughSpace,
                         "the disk has too little space left for previews.");
      return;
    }
    Catalogue::Reader database = catalogue_.reader();
    if (!database) {
      failure_ = database.error();
      return;
    }
    const auto files = shownFiles(*database, next_, before_, leastSide(kGridSide));
    if (files) {
      files_.assign(files->begin(), files->end());
    } else {
      failure_ = unreadable(*database);
    }
  }

  void note(const Result<PreviewOutcome>& outcome) {
    NSLockHolder holder(lock_);
    observer_.pictureDone();
    if (!outcome) {
      failure_ = outcome.error();
      return;
    }
    switch (*outcome) {
      case PreviewOutcome::made:
        ++outcome_.made;
        break;
      case PreviewOutcome::there:
        ++outcome_.there;
        break;
      case PreviewOutcome::impossible:
        ++outcome_.impossible;
        break;
      case PreviewOutcome::failed:
        ++outcome_.failed;
        break;
    }
  }

  Catalogue& catalogue_;
  MediaService& media_;
  PreviewObserver& observer_;
  const std::optional<std::size_t> latest_;
  const std::stop_token stop_;
  PreviewStore store_;
  NSLock lock_;
  std::int64_t last_ QUORVIN_GUARDED_BY(lock_) = 0;
  std::int64_t next_ QUORVIN_GUARDED_BY(lock_) = 0;    ///< all from here on were taken
  std::int64_t before_ QUORVIN_GUARDED_BY(lock_) = 0;  ///< nobody asks for this one and those below
  std::deque<ShownFile> files_ QUORVIN_GUARDED_BY(lock_);
  AllPreviews outcome_ QUORVIN_GUARDED_BY(lock_);
  std::optional<Failure> failure_ QUORVIN_GUARDED_BY(lock_);
};

}  // namespace

Result<AllPreviews> makeAllPreviews(const std::string& libraryPath, MediaService& media,
                                    std::size_t threads, PreviewObserver& observer,
                                    std::optional<std::size_t> latest,
                                    const std::stop_token& stop) {
  auto catalogue = openCatalogue(libraryPath, MissingLibrary::refuse);
  if (!catalogue) return catalogue.error();
  return Making(**catalogue, media, observer, latest, stop).run(threads);
}

}  // namespace quorvin
