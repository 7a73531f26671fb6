// Which files of an import make one asset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/originals/source_file.h"

namespace quorvin {

/// A file that can be brought in, or one that the library holds already.
struct ImportFile : SourceFile {
  /// The row of the asset that has this content already. `probe` then tells the kind and the
  /// content identifier alone.
  std::optional<std::int64_t> existingAsset;
  /// The original by which the file is to be known again, below `originals/`; empty: it is known,
  /// or is to be read again.
  std::string originalToNote;
};

/// Files, by index, that make one asset.
struct ImportUnit {
  std::size_t main = 0;
  std::optional<std::size_t> pairedVideo;
};

/// Pairs stills with their movies, by content identifier and else by name within a folder. Gives
/// stills whose names mark them as one burst its identifier. Units come in the order of the files.
std::vector<ImportUnit> planImport(std::vector<ImportFile>& files);

}  // namespace quorvin
