// Where there is no library yet, an empty one stands in for it in the system's folder for temporary
// files.
#include "platform_linux/library/import/rehearsal.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/files/temporary_directory.h"
#include "platform_linux/library/import/import_search.h"
#include "platform_linux/library/import/looked_group.h"
#include "platform_linux/library/opening/obstacle.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/opening/visit.h"
#include "platform_linux/library/originals/source_file.h"

namespace quorvin {
namespace {

constexpr std::size_t kFilesLookedAtTogether = 256;

/// The folder of a library that goes when the rehearsal is over.
class EmptyStage {
 public:
  EmptyStage() = default;
  ~EmptyStage() {
    std::error_code error;
    if (!path_.empty()) std::filesystem::remove_all(path_, error);
  }
  EmptyStage(const EmptyStage&) = delete;
  EmptyStage& operator=(const EmptyStage&) = delete;

  Result<std::shared_ptr<Catalogue>> open() {
    std::string pattern = temporaryParent() + "/quorvin-rehearsal-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      return systemFailure(
          "a folder for temporary files cannot be made in “" + temporaryParent() + "”", errno);
    }
    path_ = pattern;
    return openCatalogue(path_, MissingLibrary::make);
  }

 private:
  std::string path_;
};

Result<std::shared_ptr<Catalogue>> openForRehearsal(const std::string& path, EmptyStage& stage) {
  auto folder = libraryFolderAt(path);
  if (!folder) return folder.error();
  const auto state = folderState(*folder);
  if (!state) return state.error();
  const Obstacle obstacle = obstacleTo(*folder);
  switch (*state) {
    case FolderState::catalogue:
      if (obstacle != Obstacle::none) return onlyRead(*folder, obstacle);
      return visitCatalogue(*std::move(folder), obstacle);
    case FolderState::lost:
      return openCatalogue(path, MissingLibrary::refuse);
    case FolderState::missing:
    case FolderState::empty:
      break;
  }
  if (obstacle != Obstacle::none) return cannotBeMade(*folder, obstacle);
  return stage.open();
}

class Rehearsal {
 public:
  Rehearsal(Catalogue& catalogue, MediaService& media, const ImportOptions& options,
            ImportObserver& observer)
      : catalogue_(catalogue),
        options_(options),
        observer_(observer),
        looks_(catalogue, media),
        threads_("quorvin-look", options.filesAtOnce) {}

  ImportSummary run() {
    find();
    for (std::size_t from = 0; from < found_.size() && !isStopped();) {
      const std::size_t count = std::min(kFilesLookedAtTogether, found_.size() - from);
      lookAt(std::span(found_).subspan(from, count));
      from += count;
    }
    return summary_;
  }

 private:
  bool isStopped() {
    if (options_.stop.stop_requested()) summary_.wasStopped = true;
    return summary_.wasStopped;
  }

  void find() {
    found_ = searchFor(options_, catalogue_.folder(), observer_, summary_,
                       [this](const std::vector<FoundFile>& found) {
                         for (const FoundFile& file : found) total_ += file.state.size;
                       });
  }

  void lookAt(std::span<const FoundFile> files) {
    LookedGroup group(files, looks_);
    group.begin(threads_);
    group.wait([&] {
      if (options_.stop.stop_requested()) group.giveUp();
    });
    if (isStopped()) return;
    for (std::size_t i = 0; i < files.size(); ++i) {
      const auto file = group.take(i);
      if (!file) refuse(files[i].path, file.error().sentence());
      finish(files[i], file ? outcomeOf(*file) : FileOutcome::refused);
    }
  }

  FileOutcome outcomeOf(const ImportFile& file) {
    if (file.probe.notes.kind == SideKind::album) {
      ++summary_.passedOverFiles;
      observer_.passedOver(file.path);
      return FileOutcome::passedOver;
    }
    if (file.existingAsset || isTwin(file)) {
      ++summary_.skippedFiles;
      return FileOutcome::known;
    }
    ++summary_.addedFiles;
    return FileOutcome::added;
  }

  // Of a file that would have come in before it. Only those of one size are read for that.
  bool isTwin(const ImportFile& file) {
    std::vector<Added>& added = added_[file.size];
    Added candidate{file.path, std::nullopt};
    for (Added& other : added) {
      const std::string& one = hashOf(candidate);
      if (!one.empty() && one == hashOf(other)) return true;
    }
    added.push_back(std::move(candidate));
    return false;
  }

  struct Added {
    std::string path;
    std::optional<std::string> hash;  ///< empty when it cannot be read
  };

  const std::string& hashOf(Added& file) const {
    if (!file.hash) {
      const auto source = openSource(catalogue_.folder(), file.path);
      const auto hash = source ? hashContent(source->get()) : Result<std::string>(source.error());
      file.hash = hash ? *hash : "";
    }
    return *file.hash;
  }

  void refuse(const std::string& path, const std::string& reason) {
    ++summary_.refusedFiles;
    observer_.problem(path, reason);
  }

  void finish(const FoundFile& file, FileOutcome outcome) {
    done_ += file.state.size;
    observer_.fileDone({file.path, outcome, file.state.size});
    observer_.progressed(done_, total_);
  }

  Catalogue& catalogue_;
  const ImportOptions& options_;
  ImportObserver& observer_;
  FileLooks looks_;
  WorkThreads threads_;
  std::vector<FoundFile> found_;
  std::map<std::int64_t, std::vector<Added>> added_;  ///< by size
  std::int64_t total_ = 0;
  std::int64_t done_ = 0;
  ImportSummary summary_;
};

}  // namespace

Result<ImportSummary> rehearseImport(const std::string& libraryPath, MediaService& media,
                                     const ImportOptions& options, ImportObserver& observer) {
  EmptyStage stage;
  const auto catalogue = openForRehearsal(libraryPath, stage);
  if (!catalogue) return catalogue.error();
  return Rehearsal(**catalogue, media, options, observer).run();
}

}  // namespace quorvin
