// Files of an import that are looked at before what belongs together is decided.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <vector>

#include "platform_linux/dispatch/pending_work.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/source_rows.h"
#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/import/import_file.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

/// What files are. Any thread, several at once. The catalogue and the service outlive it.
class FileLooks {
 public:
  FileLooks(Catalogue& catalogue, MediaService& media)
      : catalogue_(catalogue), media_(media), originals_(catalogue.folder()) {}

  /// Which of the files came in before in just this state, without reading them: their assets'
  /// rows.
  void findKnown(std::span<const FoundFile> files, std::span<std::optional<std::int64_t>> known);

  /// What the file is; for one that the library holds, what the catalogue says of it.
  Result<ImportFile> look(const FoundFile& found);

  /// `file` as `look` would give it now.
  Result<ImportFile> lookAgain(ImportFile file);

 private:
  Done recognise(int source, ImportFile& file);

  Catalogue& catalogue_;
  MediaService& media_;
  OriginalsThere originals_;
};

/// A file that is known, as `look` would give it.
ImportFile knownFile(const FoundFile& found, std::int64_t asset);

/// Some files, while threads look at them and afterwards. One thread, which the files outlive.
class LookedGroup {
 public:
  LookedGroup(std::span<const FoundFile> files, FileLooks& looks);
  /// What has not begun does not begin any more.
  ~LookedGroup();
  LookedGroup(const LookedGroup&) = delete;
  LookedGroup& operator=(const LookedGroup&) = delete;

  /// Begins to look.
  void begin(WorkThreads& threads);
  /// Until all is seen that threads can see.
  void wait(const std::function<void()>& meanwhile) { pending_.wait(meanwhile); }

  /// What has not begun does not begin any more; the group is of no use from now on.
  void giveUp() { isGivenUp_ = true; }

  std::span<const FoundFile> files() const { return files_; }
  /// A file of this size has come into the library since the beginning: it may be one of these.
  void noteAddition(std::int64_t size) { addedSizes_.insert(size); }

  // After the wait.
  bool areAllKnown() const;
  /// Threads had too little of something to see all of them.
  bool isShort() const;
  /// Looks now at what has not been seen, or could not be for want of descriptors.
  Result<ImportFile> take(std::size_t index);

 private:
  void lookThrough(std::size_t from, std::size_t to, WorkThreads& threads);
  bool isLacking(std::size_t index) const;

  const std::span<const FoundFile> files_;
  FileLooks& looks_;
  std::vector<std::optional<std::int64_t>> known_;
  std::vector<std::optional<Result<ImportFile>>> seen_;
  std::set<std::int64_t> addedSizes_;
  std::atomic<bool> isGivenUp_ = false;
  PendingWork pending_;  // its items use the rest
};

}  // namespace quorvin
