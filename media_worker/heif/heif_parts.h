// How many parts a picture of the HEIF family claims to be made of.
#pragma once

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Whether it claims more items, tiles or bytes than there is a use for. Tiles may be named again
/// and again, and pictures be made of others in turn, so that a small file claims any number; and
/// items may all lie in the same bytes.
bool hasTooManyParts(const InputFile& file);

}  // namespace quorvin
