// Stills with a movie inside.
#pragma once

#include <cstdint>
#include <optional>

#include "media_worker/metadata/metadata.h"
#include "media_worker/reading/input_file.h"

namespace quorvin {

struct EmbeddedMovie {
  std::int64_t offset = 0;  ///< of its first byte in the file
  std::int64_t length = 0;
};

/// The movie that a still carries behind its picture: the one that XMP announced, the box of a
/// HEIC, or the block of one maker's trailer. Only what opens as a movie counts.
std::optional<EmbeddedMovie> findEmbeddedMovie(const InputFile& file,
                                               const std::optional<AnnouncedMovie>& announced);

}  // namespace quorvin
