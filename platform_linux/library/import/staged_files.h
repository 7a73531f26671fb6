// The files of a group, while threads copy them.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform_linux/dispatch/pending_work.h"
#include "platform_linux/library/import/import_file.h"
#include "platform_linux/library/import/staged_file.h"
#include "platform_linux/library/originals/original_copies.h"

namespace quorvin {

/// They come in stretches, each of which is to be stored together. One thread, which everything
/// that it is given outlives.
class StagedFiles {
 public:
  StagedFiles(OriginalCopies& copies, const std::vector<ImportFile>& files, BytesListener copied);
  /// What nobody has taken is removed.
  ~StagedFiles();
  StagedFiles(const StagedFiles&) = delete;
  StagedFiles& operator=(const StagedFiles&) = delete;

  std::size_t stretches() const { return ends_.size(); }
  std::size_t begin(std::size_t stretch) const { return stretch == 0 ? 0 : ends_[stretch - 1]; }
  std::size_t end(std::size_t stretch) const { return ends_[stretch]; }

  void copy(std::size_t stretch, WorkThreads& threads);
  void wait(std::size_t stretch, const std::function<void()>& meanwhile);

  /// None when it was not copied, or there was too little of something to do so while others were
  /// copied: nothing is copied then any more, and what was and not taken is removed.
  std::optional<StagedFile> take(std::size_t file);
  /// Copies it now.
  StagedFile copyNow(std::size_t file);

 private:
  void giveUp();

  OriginalCopies& copies_;
  const std::vector<ImportFile>& files_;
  const BytesListener copied_;
  std::vector<std::size_t> ends_;  ///< of the stretches
  std::vector<std::optional<StagedFile>> staged_;
  std::atomic<bool> isGivenUp_ = false;
  std::vector<std::unique_ptr<PendingWork>> pending_;  ///< by stretch; its items use the rest
};

}  // namespace quorvin
