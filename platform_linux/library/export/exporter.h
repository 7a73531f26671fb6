// Assets leave a library as ordinary files, with all that the library knows of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/export/export_names.h"

namespace quorvin {

class MediaService;

struct ExportOptions {
  std::optional<std::string> album;  ///< its title; none: all assets
  ExportParts parts = ExportParts::all;
  enum class Layout {
    date,  ///< folders of years, and of months in them
    album  ///< a folder for each album; assets in none by date
  };
  Layout layout = Layout::date;
  /// Called on the thread of the export: once with the number of assets, and after each.
  std::function<void(std::size_t total)> assetsFound;
  std::function<void()> assetDone;
  std::stop_token stop;
};

struct ExportReport {
  std::int64_t assets = 0;  ///< that are in the folder with all their files
  std::int64_t files = 0;   ///< of those
  std::int64_t newFiles = 0;
  std::int64_t bytes = 0;             ///< of new files
  std::vector<std::string> problems;  ///< what is not there, a sentence each
  std::optional<std::string> ended;   ///< why it ended before all was done
};

/// Writes the files of the assets into the folder, which is made where it is missing, and for each
/// asset an XMP file that tells the rest. The library is left as it is; it is exported as of one
/// moment. What is there already stays, and no file of anybody else's gives way. What was written
/// is durable, and was read again.
Result<ExportReport> exportLibrary(const std::string& library, MediaService& media,
                                   const std::string& target, const ExportOptions& options);

}  // namespace quorvin
