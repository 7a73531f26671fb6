#include "media_worker/colour.h"

#include <lcms2.h>

#include <array>
#include <cstdlib>
#include <span>

namespace quorvin {

namespace {

using Profile = std::unique_ptr<void, decltype([](void* profile) { cmsCloseProfile(profile); })>;
using Transform =
    std::unique_ptr<void, decltype([](void* transform) { cmsDeleteTransform(transform); })>;

/// By a profile, of 8-bit RGB: many times as fast as the conversion of libvips, which passes
/// through floating point.
class ProfileTransform : public ColourTransform {
 public:
  explicit ProfileTransform(Transform transform) : transform_(std::move(transform)) {}

  void convert(std::uint8_t* pixels, std::size_t count) const override {
    constexpr std::size_t kAtOnce = 1 << 20;
    const std::size_t pixelBytes = T_CHANNELS(cmsGetTransformInputFormat(transform_.get())) +
                                   T_EXTRA(cmsGetTransformInputFormat(transform_.get()));
    for (std::size_t done = 0; done < count; done += kAtOnce) {
      std::uint8_t* from = pixels + done * pixelBytes;
      cmsDoTransform(transform_.get(), from, from,
                     static_cast<cmsUInt32Number>(std::min(kAtOnce, count - done)));
    }
  }

  /// Whether it leaves a grid of colours as they are, as that of a plain sRGB picture does.
  bool isIdentity(std::size_t pixelBytes) const {
    constexpr std::size_t kSteps = 6;
    std::array<std::uint8_t, kSteps * kSteps * kSteps * 4> grid{};
    for (std::size_t i = 0; i < kSteps * kSteps * kSteps; ++i) {
      const std::array<std::size_t, 3> steps{i % kSteps, i / kSteps % kSteps, i / kSteps / kSteps};
      for (std::size_t c = 0; c < 3; ++c) {
        grid[i * pixelBytes + c] = static_cast<std::uint8_t>(steps[c] * 255 / (kSteps - 1));
      }
    }
    auto converted = grid;
    convert(converted.data(), kSteps * kSteps * kSteps);
    for (std::size_t i = 0; i < grid.size(); ++i) {
      if (std::abs(converted[i] - grid[i]) > 1) return false;
    }
    return true;
  }

 private:
  Transform transform_;
};

std::span<const std::uint8_t> profileOf(VipsImage* image) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (vips_image_get_typeof(image, VIPS_META_ICC_NAME) == 0 ||
      vips_image_get_blob(image, VIPS_META_ICC_NAME, &bytes, &size) != 0) {
    return {};
  }
  return {static_cast<const std::uint8_t*>(bytes), size};
}

bool isRgb8(VipsImage* image) {
  return image->Type == VIPS_INTERPRETATION_sRGB && image->BandFmt == VIPS_FORMAT_UCHAR &&
         (image->Bands == 3 || image->Bands == 4);
}

ColourTransformPtr transformOf(std::span<const std::uint8_t> bytes, int channels) {
  const Profile from(
      cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
  if (!from || cmsGetColorSpace(from.get()) != cmsSigRgbData) return nullptr;
  const Profile to(cmsCreate_sRGBProfile());
  const cmsUInt32Number format = channels == 4 ? TYPE_RGBA_8 : TYPE_RGB_8;
  Transform transform(cmsCreateTransform(from.get(), format, to.get(), format,
                                         INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_COPY_ALPHA));
  if (!transform) return nullptr;
  auto made = std::make_unique<ProfileTransform>(std::move(transform));
  return made->isIdentity(static_cast<std::size_t>(channels)) ? nullptr : std::move(made);
}

/// The slow way, which knows every kind of image.
bool convert(ImagePtr& image, bool byProfile) {
  if (byProfile && apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_icc_transform(in, out, "srgb", "embedded", TRUE, "input_profile", "cmyk",
                                  "depth", 8, nullptr);
      })) {
    return true;
  }
  return apply(image, [](VipsImage* in, VipsImage** out) {
    return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
  });
}

}  // namespace

bool makeSrgb(ImagePtr& image, ColourTransformPtr& rest) {
  const auto profile = profileOf(image.get());
  if (isRgb8(image.get())) {
    if (!profile.empty()) rest = transformOf(profile, image->Bands);
    return true;
  }
  if (!convert(image, !profile.empty() || image->Type == VIPS_INTERPRETATION_CMYK)) return false;
  if (image->Bands > 4 && !apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_extract_band(in, out, 0, "n", 4, nullptr);
      })) {
    return false;
  }
  if (image->BandFmt != VIPS_FORMAT_UCHAR && !apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_cast(in, out, VIPS_FORMAT_UCHAR, nullptr);
      })) {
    return false;
  }
  return image->Bands >= 3;
}

}  // namespace quorvin
