// A copy of a catalogue for one who reads it.
#pragma once

#include <memory>
#include <string>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

/// Copies the catalogue with what its log holds to a folder of its own in the system's folder for
/// temporary files, and brings the copy up to the present version. The path of the copy, which
/// nobody changes and which goes with the last holder of the path. Neither locks nor shared memory
/// are used: where somebody writes meanwhile, the copy is made anew, or is an error.
Result<std::shared_ptr<const std::string>> copyPrivately(const LibraryFolder& folder);

}  // namespace quorvin
