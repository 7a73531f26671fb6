// A file outside the library that is to become an original.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/catalogue/source_rows.h"
#include "platform_linux/media/media_service.h"
#include "posix/file_descriptor.h"

namespace quorvin {

struct SourceFile : SourceState {
  std::string path;        ///< as it was found
  std::string folder;      ///< absolute, without symbolic links
  std::string name;        ///< bytes of the file system
  std::int64_t added = 0;  ///< when it was looked at: nanoseconds since 1970
  /// Whoever changes it after that changes its state, too.
  bool showsChanges = false;
  MediaProbe probe;
};

inline constexpr std::string_view kLiesInTheLibrary = "it lies in the library itself.";

/// Opens a file for reading without waiting: a FIFO or a device is an error, as is an empty file
/// and one that lies in the library.
Result<FileDescriptor> openSource(const LibraryFolder& library, const std::string& path);

/// Whether the folder at the path is the library's, or lies in it, by whichever way it is reached.
bool folderLiesIn(const LibraryFolder& library, const std::string& path);
/// The same of an open folder.
bool folderLiesIn(const LibraryFolder& library, int folder);

/// Whether the file that the path leads to lies in a folder of the library's.
bool fileLiesIn(const LibraryFolder& library, const std::string& path);

/// The last part of the path.
std::string_view nameOfSource(std::string_view path);

/// The folder of the path, absolute and without symbolic links.
std::string folderOfSource(const std::string& path);

/// What the file system says of an open source. `path` is the one that it was opened by.
SourceFile describeSource(const FileDescriptor& source, const std::string& path);

/// Nanoseconds since 1970.
std::int64_t modificationTime(const struct stat& status);
SourceState stateOf(const struct stat& status);

/// The row of an asset that is made of this file. It comes from no folder.
NewAsset newAssetOf(const std::string& identifier, const SourceFile& file);

}  // namespace quorvin
