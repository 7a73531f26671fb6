// The files of an asset, copied on their way into the library.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/import/import_plan.h"
#include "platform_linux/library/originals/original_copies.h"

namespace quorvin {

struct StagedPart {
  std::size_t index = 0;
  const ImportFile* file = nullptr;
  std::optional<std::int64_t> existingAsset;
  OriginalCopy copy;         ///< unless the asset exists
  bool isEmbedded = false;   ///< a part of the main file
  bool isUnneeded = false;   ///< the library turned out to have it
  std::string sameOriginal;  ///< as this one, below `originals/`
};

struct StagedUnit {
  std::string identifier;
  std::optional<StagedPart> main;  ///< none: nothing of it comes in
  std::optional<StagedPart> pairedVideo;
  /// Files that could not be copied, by index. What is left of the unit comes in.
  std::vector<std::pair<std::size_t, Failure>> refused;
  /// No space: nothing was kept of it, and the import ends.
  std::optional<Failure> end;

  /// It failed of what there may be more of when less is done at once.
  bool isOfShortage() const;
};

/// Copies the unit's files. Any thread, several at once. `files` outlive the unit; `copied` is
/// called on this thread.
StagedUnit stageUnit(OriginalCopies& copies, const std::vector<ImportFile>& files,
                     const ImportUnit& unit, const BytesListener& copied);

/// Removes what was copied of it. False when something is still there.
bool discard(const OriginalCopies& copies, const StagedUnit& unit);

/// How much a unit adds to what is stored together.
struct UnitSize {
  std::int64_t bytes = 0;
  std::size_t parts = 0;
};
UnitSize sizeOf(const std::vector<ImportFile>& files, const ImportUnit& unit);

}  // namespace quorvin
