// Small pictures of the HEIF family for tests.
#pragma once

#include <optional>
#include <string>

#include "testing/media/pictures.h"

namespace quorvin {

struct HeifOptions {
  bool avif = false;
  int orientation = 1;                 ///< written as turns of the container
  Bytes exif;                          ///< a TIFF block; empty: none
  std::optional<int> exifOrientation;  ///< an Exif block with nothing else
  int exifCopies = 1;                  ///< of that block, one behind the other
  std::string xmp;                     ///< a packet; empty: none
  int thumbnailSize = 0;               ///< 0: none
  /// The thumbnail's pixels, when they are not those of the picture.
  std::optional<Picture> thumbnail;
  Bytes profile;  ///< of colours; empty: none
  /// How colours are coded, by code points of ISO/IEC 23091-2, and said so in the file.
  struct Coding {
    int primaries = 2;
    int transfer = 2;
    int matrix = 6;
    bool fullRange = true;
  };
  std::optional<Coding> coding;
  const char* chroma = "444";
  bool tenBits = false;  ///< a channel
};
/// `picture` is as stored, before any turn; of one channel it is grey.
Bytes heif(const Picture& picture, const HeifOptions& options = {});

/// HEIC of square tiles, as telephones write it; `picture` is as stored, and the container turns it
/// by so many quarters against the clock.
Bytes tiledHeic(const Picture& picture, int side, int quarterTurns = 0);

/// HEIC that shows one tile again and again, at most 256 times in each direction.
Bytes repeatedTileHeic(const Picture& tile, int columns, int rows);

/// HEIC with a second picture that belongs to the first; `type` is the name of what it is for.
Bytes heicWithAuxiliary(const Picture& picture, const std::string& type);

}  // namespace quorvin
