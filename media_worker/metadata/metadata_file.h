// Exif and XMP as a file holds them.
#pragma once

#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <optional>
#include <span>
#include <string>

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Prepares the metadata library, which is silent from then on. Called once, before threads start.
void initializeMetadata();
std::string metadataLibraryVersion();

/// What of a file's metadata can be read; damaged parts are left out.
struct FileMetadata {
  Exiv2::ExifData exif;
  Exiv2::XmpData xmp;
  std::int64_t pixelWidth = 0;  ///< as the metadata reader sees it; 0 when it does not
  std::int64_t pixelHeight = 0;

  /// None when the tag is absent. Texts come without what follows a zero byte.
  std::optional<std::string> exifText(const std::string& key) const;
  std::optional<std::int64_t> exifInteger(const std::string& key) const;
  std::optional<std::string> xmpText(const std::string& key) const;
  /// The turn that makes the picture upright, 1 to 8 as in Exif: by Exif, or else by XMP; 1 when
  /// neither says one.
  int orientation() const;
};

/// Adds what a block of Exif, which begins with its TIFF header, says.
void addExif(std::span<const std::uint8_t> block, FileMetadata& metadata);

/// Adds what an XMP packet says.
void addXmp(const std::string& packet, FileMetadata& metadata);

/// Reads what the format needs of `file`, whose descriptor is `fd`; large pictures are not read
/// whole. Of the HEIF family it finds next to nothing: its blocks are added by hand.
FileMetadata readMetadata(const InputFile& file, int fd);

}  // namespace quorvin
