#include "platform_linux/library/import/staged_files.h"

#include <cstdint>
#include <utility>

#include "platform_linux/library/values/families.h"

namespace quorvin {
namespace {

// What is stored together: enough for what each time costs, little enough to show progress, and to
// be held open.
constexpr std::int64_t kMostBytes = 256LL * 1024 * 1024;
constexpr std::size_t kMostFiles = 64;

// Files that belong together by their names are stored together, unless there are very many.
std::vector<std::size_t> endsOfStretches(const std::vector<ImportFile>& files) {
  std::vector<std::size_t> ends;
  StagedSize stretch;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const StagedSize file = sizeOf(files[i]);
    stretch.bytes += file.bytes;
    stretch.files += file.files;
    if (stretch.bytes < kMostBytes && stretch.files < kMostFiles) continue;
    const bool goesOn =
        i + 1 < files.size() && stretch.files < 2 * kMostFiles &&
        belongTogether(files[i].folder, files[i].name, files[i + 1].folder, files[i + 1].name);
    if (goesOn) continue;
    ends.push_back(i + 1);
    stretch = {};
  }
  if (stretch.files > 0) ends.push_back(files.size());
  return ends;
}

}  // namespace

StagedFiles::StagedFiles(OriginalCopies& copies, const std::vector<ImportFile>& files,
                         BytesListener copied)
    : copies_(copies),
      files_(files),
      copied_(std::move(copied)),
      ends_(endsOfStretches(files)),
      staged_(files.size()) {
  for (std::size_t i = 0; i < ends_.size(); ++i)
    pending_.push_back(std::make_unique<PendingWork>());
}

StagedFiles::~StagedFiles() {
  giveUp();
}

void StagedFiles::giveUp() {
  isGivenUp_ = true;
  for (const auto& each : pending_) each->wait();
  for (std::optional<StagedFile>& file : staged_) {
    if (file) discard(copies_, *file);
    file.reset();
  }
}

void StagedFiles::copy(std::size_t stretch, WorkThreads& threads) {
  for (std::size_t i = begin(stretch); i < end(stretch); ++i) {
    pending_[stretch]->add(threads, [this, i] {
      if (!isGivenUp_) staged_[i] = copyNow(i);
    });
  }
}

void StagedFiles::wait(std::size_t stretch, const std::function<void()>& meanwhile) {
  pending_[stretch]->wait(meanwhile);
}

std::optional<StagedFile> StagedFiles::take(std::size_t file) {
  std::optional<StagedFile>& staged = staged_[file];
  if (!staged || staged->isOfShortage()) giveUp();
  return std::exchange(staged, std::nullopt);
}

StagedFile StagedFiles::copyNow(std::size_t file) {
  return stageFile(copies_, files_, file, copied_);
}

}  // namespace quorvin
