// The note that one maker's phones leave in their photos.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace quorvin {

struct MakerNote {
  std::string contentIdentifier;  ///< empty when absent
  std::string burstIdentifier;    ///< empty when absent
  std::int64_t hdrKind = 0;       ///< 3: an HDR picture
  bool frontCamera = false;
};

/// Reads the bytes of Exif's maker note. Notes of other makers, and whatever is damaged, give the
/// empty note or what of it can be read.
MakerNote parseMakerNote(std::span<const std::uint8_t> note);

}  // namespace quorvin
