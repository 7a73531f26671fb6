// What the exports share about the files that they leave in the temporary directory.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/platform/file_manager.h"
#include "core/platform/foundation.h"
#include "core/platform/photo_library.h"
#include "core/platform/value.h"

namespace quorvin {

/// The reply to an export. `deletable` is false for a file of the library's own.
inline Value exportReply(std::string url, bool deletable) {
  return Map{{"url"_lit, std::move(url)}, {"deletable"_lit, deletable}};
}

/// The path of a folder in the temporary directory, without a slash at its end.
std::string temporaryFolder(NSFileManager& files, std::string_view name);

/// Gives the file the asset's dates, or now for one that it lacks.
std::optional<NSError> stampFileDates(NSFileManager& files, const std::string& path,
                                      const PHAsset& asset);

}  // namespace quorvin
