// Colours become sRGB. 8-bit RGB, what most files hold, is converted by Little CMS when the pixels
// are finished and few; a profile that changes nothing, as that of sRGB itself, is found out by a
// grid of colours and left out. Other kinds of image, greys, inks and more bits, go through
// libvips, which knows them all and is slow. Files that name a wide gamut by code points get a
// profile made of these.
#include "media_worker/render/colour.h"

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <vector>

#include "media_protocol/wire.h"

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

/// Where the profile stands that `nameColours` makes.
constexpr const char* kNamedColours = "quorvin-named-colours";

std::span<const std::uint8_t> profileOf(VipsImage* image, const char* name = VIPS_META_ICC_NAME) {
  const void* bytes = nullptr;
  std::size_t size = 0;
  if (vips_image_get_typeof(image, name) == 0 ||
      vips_image_get_blob(image, name, &bytes, &size) != 0) {
    return {};
  }
  return {static_cast<const std::uint8_t*>(bytes), size};
}

Profile openProfile(std::span<const std::uint8_t> bytes) {
  return Profile(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
}

bool isRgb8(VipsImage* image) {
  return image->Type == VIPS_INTERPRETATION_sRGB && image->BandFmt == VIPS_FORMAT_UCHAR &&
         (image->Bands == 3 || image->Bands == 4);
}

ColourTransformPtr transformOf(std::span<const std::uint8_t> bytes, int channels) {
  const Profile from = openProfile(bytes);
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

std::optional<cmsCIExyYTRIPLE> widePrimaries(int code) {
  switch (code) {
    case 9:  // BT.2020
      return cmsCIExyYTRIPLE{{0.708, 0.292, 1}, {0.170, 0.797, 1}, {0.131, 0.046, 1}};
    case 12:  // Display P3
      return cmsCIExyYTRIPLE{{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}};
    default:
      return std::nullopt;
  }
}

using Curve = std::unique_ptr<cmsToneCurve, decltype([](cmsToneCurve* c) { cmsFreeToneCurve(c); })>;

/// The curve that makes light of values; null for those of a high dynamic range.
Curve curveOf(int code) {
  // Above the last number a power of a line, below it a line.
  constexpr cmsInt32Number kPowerAndLine = 4;
  constexpr std::array kSrgb{2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
  constexpr std::array kBt709{1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081};
  switch (code) {
    case 1:  // BT.709
    case 6:
    case 14:  // BT.2020, with 10 and with 12 bits
    case 15:
      return Curve(cmsBuildParametricToneCurve(nullptr, kPowerAndLine, kBt709.data()));
    case 2:   // unspecified
    case 13:  // sRGB
      return Curve(cmsBuildParametricToneCurve(nullptr, kPowerAndLine, kSrgb.data()));
    default:
      return nullptr;
  }
}

}  // namespace

std::span<const std::uint8_t> profileToKeep(VipsImage* image) {
  const auto bytes = profileOf(image);
  if (bytes.empty() || bytes.size() > kMaximumProfileSize || !isRgb8(image)) return {};
  const Profile profile = openProfile(bytes);
  const bool isUsable = profile && cmsGetColorSpace(profile.get()) == cmsSigRgbData;
  return isUsable ? bytes : std::span<const std::uint8_t>();
}

void nameColours(VipsImage* image, ColourCodes codes) {
  const auto primaries = widePrimaries(codes.primaries);
  const Curve curve = primaries ? curveOf(codes.transfer) : nullptr;
  if (!curve) return;
  constexpr cmsCIExyY kD65{0.3127, 0.3290, 1};
  const std::array<cmsToneCurve*, 3> curves{curve.get(), curve.get(), curve.get()};
  const Profile profile(cmsCreateRGBProfile(&kD65, &*primaries, curves.data()));
  cmsUInt32Number size = 0;
  if (!profile || !cmsSaveProfileToMem(profile.get(), nullptr, &size)) return;
  std::vector<std::uint8_t> bytes(size);
  if (!cmsSaveProfileToMem(profile.get(), bytes.data(), &size)) return;
  vips_image_set_blob_copy(image, kNamedColours, bytes.data(), bytes.size());
}

bool makeSrgb(ImagePtr& image, ColourTransformPtr& rest) {
  const auto profile = profileOf(image.get());
  if (isRgb8(image.get())) {
    const auto colours = profile.empty() ? profileOf(image.get(), kNamedColours) : profile;
    if (!colours.empty()) rest = transformOf(colours, image->Bands);
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
