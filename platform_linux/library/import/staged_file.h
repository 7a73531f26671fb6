// A file of an import, copied on its way into the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/import/import_file.h"
#include "platform_linux/library/originals/original_copies.h"

namespace quorvin {

struct StagedFile {
  std::size_t index = 0;
  const ImportFile* file = nullptr;
  std::optional<std::int64_t> existingAsset;
  std::optional<OriginalCopy> copy;           ///< unless the asset exists
  std::optional<OriginalCopy> embeddedMovie;  ///< a part of the file
  bool isUnneeded = false;                    ///< the library turned out to have it
  std::string sameOriginal;                   ///< as this one, below `originals/`
  std::optional<std::size_t> twin;            ///< a file of its batch with the same content

  /// It could not be copied, and does not come in.
  std::optional<Failure> refusal;
  /// No space: nothing was kept of it, and the import ends.
  std::optional<Failure> end;

  /// It failed of what there may be more of when less is done at once.
  bool isOfShortage() const { return end || (refusal && refusal->isOfDescriptors); }
};

/// Copies the file. Any thread, several at once. `files` outlive what comes of it; `copied` is
/// called on this thread.
StagedFile stageFile(OriginalCopies& copies, const std::vector<ImportFile>& files,
                     std::size_t index, const BytesListener& copied);

/// Removes what was copied of it. False when something is still there.
bool discard(const OriginalCopies& copies, const StagedFile& staged);

/// How much a file adds to what is stored together.
struct StagedSize {
  std::int64_t bytes = 0;
  std::size_t files = 0;
};
StagedSize sizeOf(const ImportFile& file);

}  // namespace quorvin
