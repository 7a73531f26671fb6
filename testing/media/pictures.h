// Small pictures for tests, and picture files made of them by libvips.
#pragma once

#include <array>

#include "media_worker/reading/vips_image.h"
#include "testing/media/media_bytes.h"

namespace quorvin {

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
/// No part is like another, so that one in a wrong place shows.
Picture gradient(int width, int height);
/// The pixels that the orientation turns into `upright`.
Picture stored(const Picture& upright, int orientation);

/// Whether each channel differs by at most `tolerance`.
bool isNear(Colour a, Colour b, int tolerance);
/// Expects the colours of `quadrants` in their places.
void expectQuadrants(const Picture& picture, int tolerance);

/// The picture as libvips sees it.
ImagePtr vipsImage(const Picture& picture);
/// Encodes to the format of the suffix, with options, for example ".jpg[Q=90]".
Bytes saved(VipsImage* image, const std::string& suffix);
Bytes saved(const Picture& picture, const std::string& suffix, int orientation = 1);

/// Primaries of a wide gamut, with a plain gamma, as an ICC profile.
Bytes wideProfile();
/// The picture, with the profile, encoded as `saved` does.
Bytes withProfile(const Picture& picture, const Bytes& profile, const std::string& suffix);

}  // namespace quorvin
