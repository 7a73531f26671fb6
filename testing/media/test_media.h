// Small media files for tests, made by the libraries' own encoders.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "media_protocol/requests.h"
#include "media_worker/reading/vips_image.h"
#include "posix/file_descriptor.h"

namespace quorvin {

using Bytes = std::vector<std::uint8_t>;
using Colour = std::array<int, 4>;  ///< red, green, blue, alpha

inline constexpr Colour kRed{255, 0, 0, 255};
inline constexpr Colour kGreen{0, 255, 0, 255};
inline constexpr Colour kBlue{0, 0, 255, 255};
inline constexpr Colour kWhite{255, 255, 255, 255};
inline constexpr Colour kClear{0, 0, 0, 0};

/// Pixels of 8 bits a channel, rows without padding.
struct Picture {
  int width = 0;
  int height = 0;
  int channels = 3;
  Bytes pixels;

  Picture() = default;
  Picture(int width, int height, int channels);

  /// A colour of fewer channels is grey and opaque.
  Colour at(int x, int y) const;
  void set(int x, int y, Colour colour);
};

Picture filled(int width, int height, Colour colour, int channels = 3);
/// Red and green above blue and white.
Picture quadrants(int width, int height, int channels = 3);
/// The pixels that the orientation turns into `upright`.
Picture stored(const Picture& upright, int orientation);

/// The picture as libvips sees it.
ImagePtr vipsImage(const Picture& picture);
/// Encodes to the format of the suffix, with options, for example ".jpg[Q=90]".
Bytes saved(VipsImage* image, const char* suffix);
Bytes saved(const Picture& picture, const char* suffix, int orientation = 1);

struct HeifOptions {
  bool avif = false;
  int orientation = 1;  ///< written as turns of the container
  std::optional<int> exifOrientation;
  int thumbnailSize = 0;  ///< 0: none
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

struct VideoOptions {
  int orientation = 1;  ///< of the stored pixels, written as a display matrix
  int aspectWidth = 1;  ///< of a pixel
  int aspectHeight = 1;
  const char* container = "mov";
};
/// A film of the pictures, as stored, ten a second.
Bytes video(const std::vector<Picture>& frames, const VideoOptions& options = {});
/// A second of a tone.
Bytes sound();

FileDescriptor fileOf(std::span<const std::uint8_t> bytes);
Bytes contents(const FileDescriptor& file);

RenderRequest original();
RenderRequest fitInto(double width, double height);

/// Primaries of a wide gamut, with a plain gamma, as an ICC profile.
Bytes wideProfile();
/// The picture, with the profile, encoded as `saved` does.
Bytes withProfile(const Picture& picture, const Bytes& profile, const char* suffix);

/// The rendering as a conversion wants it, encoded; empty, and the reason, when a step fails.
Bytes conversion(const Bytes& file, ImageFormat format, std::string* reason = nullptr);

/// The rendering; an empty picture, and the reason, when it fails.
Picture rendered(const Bytes& file, const RenderRequest& request, std::string* reason = nullptr);

/// Whether each channel differs by at most `tolerance`.
bool isNear(Colour a, Colour b, int tolerance);

}  // namespace quorvin
