// What is told of an asset that leaves the library.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "media_protocol/requests.h"
#include "platform_linux/library/catalogue/export_rows.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/values/export_list.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A file of an asset as it is to stand in the folder.
struct PlacedFile {
  ListedFile listed;
  const LeavingResource* resource = nullptr;  ///< null for the XMP
  std::string was;                            ///< what it is called in the library
  bool isThere = false;
};

/// `albums` has titles by row. No more is told than there is room for.
WriteXmpRequest leavingNotes(const LeavingAsset& asset, const std::vector<PlacedFile>& files,
                             const std::map<std::int64_t, std::string>& albums);

/// The XMP file that the asset keeps, of several the one that was written last; none where there is
/// none.
FileDescriptor newestXmp(const LibraryFolder& folder, const LeavingAsset& asset);

}  // namespace quorvin
