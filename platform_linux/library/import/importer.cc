// Files are looked at in groups; copied in stretches of a group, which keep together what belongs
// together; and stored a stretch at a time. Threads look at the next group and copy the next
// stretch meanwhile. Whatever is decided is decided here, in the order in which the files were
// found.
#include "platform_linux/library/import/importer.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <memory>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/source_rows.h"
#include "platform_linux/library/import/exported_folder.h"
#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/import/folder_albums.h"
#include "platform_linux/library/import/import_batch.h"
#include "platform_linux/library/import/import_progress.h"
#include "platform_linux/library/import/import_search.h"
#include "platform_linux/library/import/looked_group.h"
#include "platform_linux/library/import/staged_files.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/values/families.h"

namespace quorvin {
namespace {

// So many files are looked at before their copies are made. What is cut apart finds itself in the
// catalogue.
constexpr std::size_t kFilesOfAGroup = 256;
// So many groups are looked at before their turn.
constexpr std::size_t kGroupsAhead = 4;

class Import {
 public:
  Import(std::shared_ptr<Catalogue> catalogue, MediaService& media, const ImportOptions& options,
         ImportObserver& observer)
      : catalogue_(std::move(catalogue)),
        looks_(*catalogue_, media),
        albums_(options),
        observer_(observer),
        options_(options) {}

  Result<ImportSummary> run() {
    find();
    if (isStopped()) return summary_;
    for (beginGroups(); !ahead_.empty() && !isStopped(); beginGroups()) {
      const std::unique_ptr<LookedGroup> group = std::move(ahead_.front());
      ahead_.pop_front();
      group->wait([&] {
        tell_();
        if (options_.stop.stop_requested()) group->giveUp();
      });
      if (isStopped()) break;
      if (const Done done = importGroup(*group); !done) return done.error();
      tell_();
    }
    if (auto filled = exported_.fillAlbums(*catalogue_); !filled) return filled.error();
    dropSurplusSources();
    return summary_;
  }

 private:
  bool isStopped() {
    if (options_.stop.stop_requested()) summary_.wasStopped = true;
    return summary_.wasStopped;
  }

  void find() {
    found_ = searchFor(options_, catalogue_->folder(), observer_, summary_,
                       [this](std::vector<FoundFile>& found) {
                         exported_.arrange(found, options_.paths);
                         for (const FoundFile& file : found) progress_.found(file.state.size);
                         albums_.find(found, looks_);
                       });
  }

  void beginGroups() {
    while (begun_ < found_.size() && ahead_.size() < kGroupsAhead) {
      const std::size_t end = endOfGroup(begun_);
      ahead_.push_back(
          std::make_unique<LookedGroup>(std::span(found_).subspan(begun_, end - begun_), looks_));
      if (!isAlone_) ahead_.back()->begin(lookThreads_);
      begun_ = end;
    }
  }

  std::size_t endOfGroup(std::size_t first) const {
    std::size_t end = std::min(first + kFilesOfAGroup, found_.size());
    while (end < found_.size()) {
      const std::filesystem::path last = found_[end - 1].path;
      const std::filesystem::path next = found_[end].path;
      if (!belongTogether(last.parent_path().string(), last.filename().string(),
                          next.parent_path().string(), next.filename().string())) {
        break;
      }
      ++end;
    }
    return end;
  }

  Done importGroup(LookedGroup& group) {
    if (group.areAllKnown() && !isForAlbums(group)) {
      for (const FoundFile& file : group.files()) {
        ++summary_.skippedFiles;
        finish(file.path, file.state.size, FileOutcome::known);
      }
      return Null{};
    }
    if (group.isShort()) goAlone();
    files_.clear();
    for (std::size_t i = 0; i < group.files().size(); ++i) {
      auto file = group.take(i);
      if (file && file->probe.notes.kind == SideKind::album) {
        ++summary_.passedOverFiles;
        observer_.passedOver(file->path);
        finish(file->path, file->size, FileOutcome::passedOver);
      } else if (file) {
        if (file->probe.kind != MediaKind::side) file->albums = albums_.of(file->folder);
        files_.push_back(*std::move(file));
      } else {
        refuse(group.files()[i].path, file.error().sentence());
        finish(group.files()[i].path, group.files()[i].state.size, FileOutcome::refused);
      }
    }
    return storeFiles();
  }

  bool isForAlbums(const LookedGroup& group) const {
    return std::ranges::any_of(group.files(),
                               [this](const FoundFile& file) { return albums_.has(file); });
  }

  Done storeFiles() {
    if (files_.empty()) return Null{};
    if (auto ready = makeReady(); !ready) return ready;
    StagedFiles staged(*copies_, files_, [this](std::int64_t bytes) { progress_.copied(bytes); });
    const auto copy = [&](std::size_t stretch) {
      if (!isAlone_ && stretch < staged.stretches()) staged.copy(stretch, *copyThreads_);
    };
    copy(0);
    for (std::size_t stretch = 0; stretch < staged.stretches(); ++stretch) {
      copy(stretch + 1);
      staged.wait(stretch, tell_);
      for (std::size_t i = staged.begin(stretch); i < staged.end(stretch); ++i) {
        if (auto added = addFile(staged, i); !added) return added;
      }
      if (auto committed = commit(); !committed) return committed;
      if (stretch + 1 < staged.stretches() && isStopped()) break;
    }
    return Null{};
  }

  // Nothing is made where everything is known.
  Done makeReady() {
    if (batch_ != nullptr) return Null{};
    if (auto made = exported_.makeAlbums(*catalogue_); !made) return made;
    auto staging = Staging::begin(catalogue_->folder());
    if (!staging) return staging.error();
    staging_ = *std::move(staging);
    copies_ = std::make_unique<OriginalCopies>(catalogue_->folder(), *staging_);
    batch_ = std::make_unique<ImportBatch>(*catalogue_, *staging_, *copies_, bursts_);
    copyThreads_ = std::make_unique<WorkThreads>("quorvin-copy", options_.filesAtOnce);
    return Null{};
  }

  Done addFile(StagedFiles& staged, std::size_t index) {
    std::optional<StagedFile> copied = staged.take(index);
    if (!copied) {
      auto alone = copyAlone(staged, index);
      if (!alone) return alone.error();
      copied = *std::move(alone);
    }
    const ImportFile& file = files_[index];
    if (copied->end) {
      refuse(file.path, copied->end->sentence());
      const Done committed = commit();
      return committed ? stopped(*copied->end) : committed;
    }
    if (copied->refusal) {
      refuse(file.path, copied->refusal->sentence());
      finish(file.path, file.size, FileOutcome::refused);
    } else {
      batch_->add(*std::move(copied));
    }
    return Null{};
  }

  // What was short while much was done at once may do for one thing after the other.
  void goAlone() {
    isAlone_ = true;
    for (const auto& group : ahead_) group->wait(tell_);
  }

  Result<StagedFile> copyAlone(StagedFiles& staged, std::size_t index) {
    goAlone();
    StagedFile copied = staged.copyNow(index);
    if (!copied.isOfShortage() || copied.end) return copied;
    // The batch holds on to its copies until it is stored.
    discard(*copies_, copied);
    if (auto committed = commit(); !committed) return committed.error();
    return staged.copyNow(index);
  }

  Done commit() {
    if (batch_->isEmpty()) return Null{};
    const auto committed = batch_->commit();
    if (!committed) return stopped(committed.error());
    summary_.addedAssets += committed->addedAssets;
    for (const ImportBatch::Outcome& outcome : committed->files) {
      const ImportFile& file = files_[outcome.file];
      ++(outcome.isAdded ? summary_.addedFiles : summary_.skippedFiles);
      for (const auto& group : ahead_) group->noteAddition(file.size);
      finish(file.path, file.size, outcome.isAdded ? FileOutcome::added : FileOutcome::known,
             !file.existingAsset);
    }
    tell_();
    return Null{};
  }

  // What cannot be dropped now is at the next import.
  void dropSurplusSources() {
    if (batch_ == nullptr) return;
    Catalogue::Reader database = catalogue_->reader();
    if (!database || !areTooManySources(*database)) return;
    catalogue_->change([](Database& writer) {
      return dropSources(writer) ? Done(Null{}) : writer.lastError("the sources cannot be dropped");
    });
  }

  void refuse(const std::string& path, const std::string& reason) {
    ++summary_.refusedFiles;
    observer_.problem(path, reason);
  }

  void finish(const std::string& path, std::int64_t bytes, FileOutcome outcome,
              bool isCopy = false) {
    progress_.done(bytes, isCopy);
    observer_.fileDone({path, outcome, bytes});
  }

  Failure stopped(Failure failure) const {
    failure.reason = "the import stopped after " + std::to_string(summary_.addedFiles) +
                     " added files. " + failure.sentence();
    return failure;
  }

  const std::shared_ptr<Catalogue> catalogue_;
  FileLooks looks_;
  FolderAlbums albums_;
  ImportObserver& observer_;
  const ImportOptions& options_;
  const std::function<void()> tell_ = [this] {
    observer_.progressed(progress_.now(), progress_.total());
  };
  ExportedFolders exported_;
  std::vector<FoundFile> found_;
  std::vector<ImportFile> files_;  // of the present group
  std::set<std::string> bursts_;
  ImportSummary summary_;
  ImportProgress progress_;
  bool isAlone_ = false;  ///< there is too little of something to do more than one thing at once

  // From the first file on that is not known.
  std::unique_ptr<Staging> staging_;
  std::unique_ptr<OriginalCopies> copies_;
  std::unique_ptr<ImportBatch> batch_;

  WorkThreads lookThreads_{"quorvin-look", options_.filesAtOnce};
  std::unique_ptr<WorkThreads> copyThreads_;
  std::size_t begun_ = 0;                           // files that are in a group
  std::deque<std::unique_ptr<LookedGroup>> ahead_;  // the next ones
};

}  // namespace

Result<ImportSummary> importIntoLibrary(const std::string& libraryPath, MediaService& media,
                                        const ImportOptions& options, ImportObserver& observer) {
  auto catalogue =
      openCatalogue(libraryPath, MissingLibrary::make, PHAuthorizationStatus::authorized);
  if (!catalogue) return catalogue.error();
  if (const auto& refusal = (*catalogue)->folder().refusal) return *refusal;
  return Import(*std::move(catalogue), media, options, observer).run();
}

}  // namespace quorvin
