// Which files of an import make one asset.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/media/media_service.h"

namespace quorvin {

/// A file that can be brought in, or one that the library holds already.
struct ImportFile {
  std::string path;    ///< as it was found
  std::string folder;  ///< absolute, without symbolic links
  std::string name;    ///< bytes of the file system
  std::int64_t size = 0;
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  MediaProbe probe;
  /// The row of the asset that has this content already. `probe` then tells the kind and the
  /// content identifier alone.
  std::optional<std::int64_t> existingAsset;
};

/// Files, by index, that make one asset.
struct ImportUnit {
  std::size_t main = 0;
  std::optional<std::size_t> pairedVideo;
};

/// The name without its extension, and the extension without its dot, in lower case; a name whose
/// only dot comes first has no extension.
std::string nameStem(const std::string& name);
std::string lowerExtension(const std::string& name);
/// ASCII letters to lower case.
std::string lowerCase(std::string text);

/// True for a still and a movie that their names make a live photo, if they are in one folder.
bool namesMakeAPair(const std::string& still, const std::string& movie);

/// True when two files that follow each other by name should be planned together.
bool belongTogether(const std::string& folder, const std::string& name,
                    const std::string& nextFolder, const std::string& nextName);

/// A number that stands for the folder.
std::int64_t folderNumber(const std::string& folder);

/// Pairs stills with their movies, by content identifier and else by name within a folder. Gives
/// stills whose names mark them as one burst its identifier. Units come in the order of the files.
std::vector<ImportUnit> planImport(std::vector<ImportFile>& files);

}  // namespace quorvin
