// What files are called that leave the library.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform_linux/library/catalogue/export_rows.h"

namespace quorvin {

enum class ExportParts {
  all,       ///< whatever the asset has
  original,  ///< as it came
  current,   ///< as it is shown
};

/// A name for a file or folder that every file system takes and no import passes over: other
/// characters become "_", and what is too long is cut before the extension.
std::string safeFileName(std::string_view name);
std::string safeFolderName(std::string_view title);

/// A folder for the year and, in it, one for the month of this machine's clock at that time.
std::string dateFolder(std::optional<std::int64_t> created);

/// A file of an asset: what it is called, and what it is there.
struct LeavingFile {
  const LeavingResource* resource = nullptr;
  std::int64_t type = 0;  ///< what it is to whoever imports it
  std::string was;        ///< what it is called in the library; of what is shown, as the original
  std::string name;
};

/// The asset's resources that are written, without names yet; first the one that the asset is
/// called by.
std::vector<LeavingFile> leavingFiles(const LeavingAsset& asset, ExportParts parts);

/// The stem of the first file's own name.
std::string leavingStem(const std::vector<LeavingFile>& files);

/// Names them: all of this stem, and no two alike.
void nameFiles(std::vector<LeavingFile>& files, const std::string& stem);

/// "IMG_1 (2)"; the stem itself for 1.
std::string numberedStem(const std::string& stem, int number);

/// What the names of files that may belong together share, in lower case: of "A.JPG",
/// "a.mov", "a.jpg.xmp" and "a.xmp" it is "a".
std::string sharedStem(const std::string& name);

}  // namespace quorvin
