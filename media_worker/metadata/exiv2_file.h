// Media files as Exiv2 opens them.
#pragma once

#include <exiv2/exiv2.hpp>
#include <memory>

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// The file, of which nothing is read yet; never null. `file` and its descriptor `fd` outlive it.
/// Throws what Exiv2 throws when the file is of no kind that it knows.
std::unique_ptr<Exiv2::Image> openWithExiv2(const InputFile& file, int fd);

}  // namespace quorvin
