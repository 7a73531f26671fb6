// Movies and sounds.
#pragma once

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "media_worker/reading/input_file.h"

namespace quorvin {

/// The whole probe of a video or audio file but for what its name says. An error says in one
/// sentence whether the file is none, or a damaged one.
Result<MediaProbe> probeMovie(const InputFile& file);

/// Whether the bytes are a movie with moving pictures.
bool isMovie(const InputFile& file);

}  // namespace quorvin
