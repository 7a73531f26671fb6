// A file on its way through an import.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/originals/source_file.h"

namespace quorvin {

/// A file that can be brought in, or one that the library holds already.
struct ImportFile : SourceFile {
  /// The row of the asset that has this content already. `probe` then tells nothing.
  std::optional<std::int64_t> existingAsset;
  /// The original by which the file is to be known again, below `originals/`; empty: it is known,
  /// or is to be read again.
  std::string originalToNote;
  /// Titles of albums that receive its asset.
  std::vector<std::string> albums;
};

}  // namespace quorvin
