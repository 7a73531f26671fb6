#include "testing/media/pictures.h"

#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

namespace quorvin {

Picture::Picture(int width, int height, int channels)
    : width(width),
      height(height),
      channels(channels),
      pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
             static_cast<std::size_t>(channels)) {}

Colour Picture::at(int x, int y) const {
  const std::uint8_t* pixel = &pixels.at(static_cast<std::size_t>((y * width + x) * channels));
  if (channels < 3) return {pixel[0], pixel[0], pixel[0], channels == 2 ? pixel[1] : 255};
  return {pixel[0], pixel[1], pixel[2], channels == 4 ? pixel[3] : 255};
}

void Picture::set(int x, int y, Colour colour) {
  for (int c = 0; c < channels; ++c) {
    pixels.at(static_cast<std::size_t>((y * width + x) * channels + c)) =
        static_cast<std::uint8_t>(colour.at(static_cast<std::size_t>(c)));
  }
}

Picture filled(int width, int height, Colour colour, int channels) {
  Picture picture(width, height, channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) picture.set(x, y, colour);
  }
  return picture;
}

Picture quadrants(int width, int height, int channels) {
  Picture picture(width, height, channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool right = x >= width / 2;
      picture.set(x, y, y < height / 2 ? (right ? kGreen : kRed) : (right ? kWhite : kBlue));
    }
  }
  return picture;
}

Picture gradient(int width, int height) {
  Picture picture(width, height, 3);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      picture.set(x, y, {x * 255 / width, y * 255 / height, x * y * 255 / (width * height), 255});
    }
  }
  return picture;
}

Picture stored(const Picture& upright, int orientation) {
  const bool turned = orientation >= 5;
  const int right = upright.width - 1;
  const int bottom = upright.height - 1;
  Picture picture(turned ? upright.height : upright.width, turned ? upright.width : upright.height,
                  upright.channels);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      // Where the standard says that the stored first row and column belong.
      const std::array<std::pair<int, int>, 8> places{{{x, y},
                                                       {right - x, y},
                                                       {right - x, bottom - y},
                                                       {x, bottom - y},
                                                       {y, x},
                                                       {right - y, x},
                                                       {right - y, bottom - x},
                                                       {y, bottom - x}}};
      const auto [fromX, fromY] = places.at(static_cast<std::size_t>(orientation - 1));
      picture.set(x, y, upright.at(fromX, fromY));
    }
  }
  return picture;
}

ImagePtr vipsImage(const Picture& picture) {
  ImagePtr image(vips_image_new_from_memory_copy(picture.pixels.data(), picture.pixels.size(),
                                                 picture.width, picture.height, picture.channels,
                                                 VIPS_FORMAT_UCHAR));
  image->Type = picture.channels < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
  return image;
}

Bytes saved(VipsImage* image, const std::string& suffix) {
  void* data = nullptr;
  std::size_t size = 0;
  if (vips_image_write_to_buffer(image, suffix.c_str(), &data, &size, nullptr) != 0) {
    ADD_FAILURE() << "cannot save as " << suffix << ": " << vips_error_buffer();
    return {};
  }
  const auto* begin = static_cast<const std::uint8_t*>(data);
  Bytes bytes(begin, begin + size);
  g_free(data);
  return bytes;
}

Bytes saved(const Picture& picture, const std::string& suffix, int orientation) {
  const ImagePtr image = vipsImage(picture);
  if (orientation != 1) vips_image_set_int(image.get(), VIPS_META_ORIENTATION, orientation);
  return saved(image.get(), suffix);
}

bool isNear(Colour a, Colour b, int tolerance) {
  return std::equal(a.begin(), a.end(), b.begin(),
                    [=](int x, int y) { return std::abs(x - y) <= tolerance; });
}

void expectQuadrants(const Picture& picture, int tolerance) {
  ASSERT_GE(picture.width, 4);
  ASSERT_GE(picture.height, 4);
  const int left = picture.width / 4;
  const int right = picture.width - 1 - left;
  const int top = picture.height / 4;
  const int bottom = picture.height - 1 - top;
  EXPECT_TRUE(isNear(picture.at(left, top), kRed, tolerance));
  EXPECT_TRUE(isNear(picture.at(right, top), kGreen, tolerance));
  EXPECT_TRUE(isNear(picture.at(left, bottom), kBlue, tolerance));
  EXPECT_TRUE(isNear(picture.at(right, bottom), kWhite, tolerance));
}

Bytes wideProfile() {
  const cmsCIExyY white{0.3127, 0.3290, 1};
  const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1}, {0.21, 0.71, 1}, {0.15, 0.06, 1}};
  cmsToneCurve* gamma = cmsBuildGamma(nullptr, 2.19921875);
  cmsToneCurve* const curves[3] = {gamma, gamma, gamma};
  const std::unique_ptr<void, decltype([](void* profile) { cmsCloseProfile(profile); })> profile(
      cmsCreateRGBProfile(&white, &primaries, curves));
  cmsFreeToneCurve(gamma);
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile.get(), nullptr, &size);
  Bytes bytes(size);
  cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
  // The time of its making, in the header: every profile that is made here is the same.
  std::fill_n(bytes.begin() + 24, 12, std::uint8_t{0});
  return bytes;
}

Bytes withProfile(const Picture& picture, const Bytes& profile, const std::string& suffix) {
  const ImagePtr image = vipsImage(picture);
  vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, profile.data(), profile.size());
  return saved(image.get(), suffix);
}

}  // namespace quorvin
