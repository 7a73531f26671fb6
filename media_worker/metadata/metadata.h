// What a photo's Exif, maker note and XMP say about it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media_worker/metadata/metadata_file.h"

namespace quorvin {

/// A movie behind a picture, as XMP announces it.
struct AnnouncedMovie {
  std::int64_t fromEnd = 0;  ///< of its first byte, counted from the end of the file
  std::int64_t length = 0;
};

struct PhotoMetadata {
  std::optional<std::int64_t> creationDate;  ///< UTC, nanoseconds since 1970
  std::string contentIdentifier;             ///< empty when there is none
  std::string burstIdentifier;               ///< empty when there is none
  bool burstPrimary = false;
  std::uint64_t subtypes = 0;  ///< bits of PHAssetMediaSubtype
  bool frontCamera = false;
  std::optional<AnnouncedMovie> movie;
};

PhotoMetadata photoMetadata(const FileMetadata& file);

/// The moment when a still was taken: the first valid of Exif's original date, its digitized date
/// and the dates of XMP. A date without an offset gets it from the GPS time, else from this
/// machine's zone at that time.
std::optional<std::int64_t> photoCreationDate(const FileMetadata& file);

std::optional<AnnouncedMovie> announcedMovie(const FileMetadata& file);

}  // namespace quorvin
