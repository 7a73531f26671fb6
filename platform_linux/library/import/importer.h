// Brings photo, video and audio files into a library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"

namespace quorvin {

class MediaService;

struct ImportOptions {
  /// Files, and folders that are searched recursively; symbolic links are followed.
  std::vector<std::string> paths;
  /// The user album that receives the assets; made when no album has this title.
  std::optional<std::string> albumTitle = {};
  /// So many files are looked at at a time, and so many copied: as many as the media service takes.
  /// What comes of them does not depend on it.
  std::size_t filesAtOnce = 1;
  /// Ends the import once what is under way is stored.
  std::stop_token stop = {};
  /// Every folder's files also come into an album that is called as the folder is, or as a photo
  /// service's file in it says; where there is such a file they do in any case.
  bool foldersAreAlbums = false;
};

enum class FileOutcome {
  added,       ///< it now belongs to an asset, or waits for one
  known,       ///< the library held its bytes already
  refused,     ///< a problem was told before
  passedOver,  ///< it says something of its folder, and is not kept; that was told before
};

struct ImportedFile {
  std::string path;
  FileOutcome outcome = FileOutcome::refused;
  std::int64_t bytes = 0;
};

/// Hears of an import's progress, on the importing thread.
class ImportObserver {
 public:
  virtual ~ImportObserver() = default;
  /// While folders are searched: so many files up to now.
  virtual void searching(std::size_t) {}
  /// Once, before the first file is done.
  virtual void filesFound(std::size_t total) = 0;
  /// Once for every file, whatever became of it. What was added is durable by then.
  virtual void fileDone(const ImportedFile& file) = 0;
  /// Of what is hidden, or kept by systems and services beside photos: a file, or a folder with all
  /// in it.
  virtual void passedOver(const std::string& /*path*/) {}
  /// A file that was refused or a folder that could not be read; `reason` is one sentence.
  virtual void problem(const std::string& path, const std::string& reason) = 0;
  /// Now and then, also in the middle of large files: how much of the work is done. Bytes of all
  /// files that were found.
  virtual void progressed(std::int64_t, std::int64_t /*total*/) {}
};

struct ImportSummary {
  std::size_t addedAssets = 0;
  std::size_t addedFiles = 0;       ///< files that now belong to an asset
  std::size_t skippedFiles = 0;     ///< files whose bytes the library held already
  std::size_t refusedFiles = 0;     ///< also counts folders that could not be read
  std::size_t passedOverFiles = 0;  ///< a folder is one, whatever is in it; not kept
  bool wasStopped = false;          ///< before it had come to its end
  friend bool operator==(const ImportSummary&, const ImportSummary&) = default;
};

/// Copies the files into the library; the sources stay unchanged. A refused file does not end the
/// import. An error means that the library can take no more, for example for want of space; what
/// was reported as done stays, and nothing is left half there. A missing library is made, and is
/// then authorized for its owner. Any thread; several imports may run at once.
Result<ImportSummary> importIntoLibrary(const std::string& libraryPath, MediaService& media,
                                        const ImportOptions& options, ImportObserver& observer);

}  // namespace quorvin
