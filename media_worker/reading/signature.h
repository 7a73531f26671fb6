// Which kind of picture the first bytes of a file announce.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace quorvin {

enum class PictureFormat {
  none,
  jpeg,
  png,
  gif,
  webp,
  tiff,  ///< or a raw photo built on TIFF: its tags tell
  bmp,
  jpeg2000,
  jpegXl,
  heif,  ///< AVIF too
  raw,
};

/// How a kind of content is named: the type identifier and the usual file name extension.
struct ContentType {
  std::string_view identifier;
  std::string_view extension;  ///< empty: the file's own name has to tell
};

struct PictureSignature {
  PictureFormat format = PictureFormat::none;
  ContentType type;
};

/// As many first bytes as `pictureSignature` ever looks at.
inline constexpr std::size_t kSignatureLength = 512;

/// Looks at signatures and `ftyp` brands alone. `none` for what is no picture.
PictureSignature pictureSignature(std::span<const std::uint8_t> head);

/// Whether the bytes begin as a movie or sound does, so that one which cannot be opened is damaged.
bool isMovieSignature(std::span<const std::uint8_t> head);

/// The four characters of a `ftyp` box's major brand; empty without such a box.
std::string_view majorBrand(std::span<const std::uint8_t> head);

}  // namespace quorvin
