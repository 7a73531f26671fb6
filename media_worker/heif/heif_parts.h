// The parts of which a picture of the HEIF family claims to be made.
#pragma once

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Whether it claims more items, tiles or bytes than there is a use for. Tiles may be named again
/// and again, and pictures be made of others in turn, so that a small file claims any number; and
/// items may all lie in the same bytes.
bool hasTooManyParts(const InputFile& file);

/// How many pictures the primary one is put together of, its tiles mostly; 0 when it is a picture
/// by itself.
int partsOfPrimary(const InputFile& file);

}  // namespace quorvin
