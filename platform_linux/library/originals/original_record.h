// What an original carries with it, so that its asset can be made again should the catalogue be
// lost.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// The rows that the original had when it came. What happened to them later is not in it.
struct OriginalRecord {
  NewAsset asset;
  NewResource resource;  ///< its path is not told: it is where the original lies
};

/// A line for each property, with its name before it. Versions to come may add lines.
std::string textOf(const OriginalRecord& record);
/// None when that is no record.
std::optional<OriginalRecord> recordFromText(std::string_view text);

/// Writes the record to an extended attribute of the open file, which may be written to, or, where
/// its file system has none, to a file of its own, durably. What is written to the attribute is
/// durable with the file.
Done writeRecord(const LibraryFolder& folder, int file, const OriginalRecord& record);

/// The record of the original at this path below `originals/`; none where it has none.
std::optional<OriginalRecord> readRecord(const LibraryFolder& folder, const std::string& path);

/// Of an original that goes. An attribute goes by itself.
void removeRecord(const LibraryFolder& folder, const std::string& path);

/// Where the side record of an original lies, beneath the library.
std::string sideRecordPath(const std::string& path);

}  // namespace quorvin
