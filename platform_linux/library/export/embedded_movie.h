// The movie of a motion photo, which is a part of the photo's own file.
#pragma once

#include <vector>

#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/export/export_names.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

/// Leaves out a paired video that whoever reads the photo finds in it again.
void dropEmbeddedMovie(const LibraryFolder& library, MediaService& media,
                       std::vector<LeavingFile>& files);

}  // namespace quorvin
