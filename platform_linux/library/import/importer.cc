#include "platform_linux/library/import/importer.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string_view>
#include <utility>

#include "platform_linux/errors/failure.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/file_content.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/pair_rows.h"
#include "platform_linux/library/catalogue/resource_rows.h"
#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/import/import_batch.h"
#include "platform_linux/library/import/import_plan.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/originals/staging.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

// So many files are looked at before their copies are made: enough to see what belongs together,
// few enough to show progress. What is cut apart here finds itself in the catalogue.
constexpr std::size_t kFilesPlannedTogether = 256;

class Import {
 public:
  Import(std::shared_ptr<Catalogue> catalogue, std::unique_ptr<Staging> staging,
         MediaService& media, const ImportOptions& options, ImportObserver& observer)
      : catalogue_(std::move(catalogue)),
        staging_(std::move(staging)),
        media_(media),
        observer_(observer),
        options_(options),
        batch_(*catalogue_, *staging_, options_.albumTitle, bursts_) {}

  Result<ImportSummary> run() {
    std::vector<std::pair<std::string, std::string>> unreadable;
    const std::vector<std::string> paths =
        findFiles(options_.paths, catalogue_->folder(),
                  [&unreadable](const std::string& path, const std::string& reason) {
                    unreadable.emplace_back(path, reason);
                  });
    observer_.filesFound(paths.size());
    for (const auto& [path, reason] : unreadable) refuse(path, reason);
    std::size_t next = 0;
    while (next < paths.size()) {
      const std::size_t first = next;
      next = endOfGroup(paths, first);
      const Done done = importGroup({paths.begin() + static_cast<std::ptrdiff_t>(first),
                                     paths.begin() + static_cast<std::ptrdiff_t>(next)});
      if (!done) return done.error();
    }
    return summary_;
  }

 private:
  static std::size_t endOfGroup(const std::vector<std::string>& paths, std::size_t first) {
    std::size_t end = std::min(first + kFilesPlannedTogether, paths.size());
    while (end < paths.size()) {
      const std::filesystem::path last = paths[end - 1];
      const std::filesystem::path next = paths[end];
      if (!belongTogether(last.parent_path().string(), last.filename().string(),
                          next.parent_path().string(), next.filename().string())) {
        break;
      }
      ++end;
    }
    return end;
  }

  Done importGroup(const std::vector<std::string>& paths) {
    files_.clear();
    for (const std::string& path : paths) {
      auto file = look(path);
      if (file) {
        files_.push_back(*std::move(file));
      } else {
        refuse(path, file.error().sentence());
        observer_.fileDone(path);
      }
    }
    for (const ImportUnit& unit : planImport(files_)) {
      std::vector<std::pair<std::size_t, Failure>> refused;
      const auto added = batch_.add(files_, unit, refused);
      for (const auto& [index, error] : refused) {
        refuse(files_[index].path, error.sentence());
        observer_.fileDone(files_[index].path);
      }
      if (!added) {
        refuse(files_[unit.main].path, added.error().sentence());
        const Done committed = commit();
        return committed ? stopped(added.error()) : committed;
      }
      if (batch_.isFull()) {
        if (Done committed = commit(); !committed) return committed;
      }
    }
    return commit();
  }

  // What the file is; for one that the library holds, what the catalogue says of it.
  Result<ImportFile> look(const std::string& path) {
    const auto source = openSource(catalogue_->folder(), path);
    if (!source) return source.error();
    ImportFile file{describeSource(*source, path), {}};
    if (const auto known = recognise(source->get(), file); !known) return known.error();
    if (file.existingAsset) return file;
    auto probe = media_.probe(*source, file.name);
    if (!probe) return probe.error();
    file.probe = *std::move(probe);
    return file;
  }

  // Only a file whose size the library knows is read for this.
  Done recognise(int source, ImportFile& file) {
    Catalogue::Reader database = catalogue_->reader();
    if (!database) return database.error();
    if (!isKnownSize(*database, file.size)) return Null{};
    const auto hash = hashContent(source);
    if (!hash) return hash.error();
    for (const KnownContent& known : findContent(*database, file.size, *hash)) {
      const FileDescriptor stored = originalFile(catalogue_->folder(), known.path).open();
      if (!stored || !haveSameContent(source, stored.get())) continue;
      describe(*database, known, file);
      return Null{};
    }
    return Null{};
  }

  static void describe(Database& database, const KnownContent& known, ImportFile& file) {
    file.probe.contentIdentifier = contentIdentifierOf(database, known.asset);
    file.existingAsset = known.asset;
    switch (known.type) {
      case PHAssetResourceType::photo:
        file.probe.kind = MediaKind::image;
        break;
      case PHAssetResourceType::audio:
        file.probe.kind = MediaKind::audio;
        break;
      default:
        file.probe.kind = MediaKind::video;
        break;
    }
  }

  Done commit() {
    if (batch_.isEmpty()) return Null{};
    const auto committed = batch_.commit();
    if (!committed) return stopped(committed.error());
    summary_.addedAssets += committed->addedAssets;
    for (const ImportBatch::Outcome& outcome : committed->files) {
      ++(outcome.isAdded ? summary_.addedFiles : summary_.skippedFiles);
      observer_.fileDone(files_[outcome.file].path);
    }
    return Null{};
  }

  void refuse(const std::string& path, const std::string& reason) {
    ++summary_.refusedFiles;
    observer_.problem(path, reason);
  }

  Failure stopped(Failure failure) const {
    failure.reason = "the import stopped after " + std::to_string(summary_.addedFiles) +
                     " added files. " + failure.sentence();
    return failure;
  }

  const std::shared_ptr<Catalogue> catalogue_;
  const std::unique_ptr<Staging> staging_;
  MediaService& media_;
  ImportObserver& observer_;
  const ImportOptions& options_;
  std::vector<ImportFile> files_;
  std::set<std::string> bursts_;
  ImportBatch batch_;
  ImportSummary summary_;
};

}  // namespace

Result<ImportSummary> importIntoLibrary(const std::string& libraryPath, MediaService& media,
                                        const ImportOptions& options, ImportObserver& observer) {
  auto catalogue =
      openCatalogue(libraryPath, MissingLibrary::make, PHAuthorizationStatus::authorized);
  if (!catalogue) return catalogue.error();
  auto staging = Staging::begin((*catalogue)->folder());
  if (!staging) return staging.error();
  return Import(*std::move(catalogue), *std::move(staging), media, options, observer).run();
}

}  // namespace quorvin
