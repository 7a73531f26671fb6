// Colours become sRGB. 8-bit RGB, what most files hold, is converted by Little CMS when the pixels
// are finished and few; a profile that changes nothing, as that of sRGB itself, is found out by a
// grid of colours and left out. Other kinds of image, greys, inks and more bits, go through
// libvips, which knows them all and is slow. Files that name a wide gamut by code points get a
// profile made of these. What is for HDR screens, by code points or by a profile that says no more
// than they do, is mapped to common ones.
#include "media_worker/render/colour.h"

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <vector>

#include "media_protocol/wire.h"
#include "media_worker/render/tone_mapping.h"

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

Profile openProfile(std::span<const std::uint8_t> bytes) {
  return Profile(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
}

bool isRgb8(VipsImage* image) {
  return image->Type == VIPS_INTERPRETATION_sRGB && image->BandFmt == VIPS_FORMAT_UCHAR &&
         (image->Bands == 3 || image->Bands == 4);
}

/// Null when there is nothing to do.
ColourTransformPtr transformFrom(const Profile& from, int channels) {
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

struct Primaries {
  cmsCIExyY white;
  cmsCIExyYTRIPLE colours;
};

constexpr cmsCIExyY kD65{0.3127, 0.3290, 1};

/// Of the wide gamuts.
std::optional<Primaries> widePrimaries(int code) {
  constexpr cmsCIExyYTRIPLE kP3{{0.680, 0.320, 1}, {0.265, 0.690, 1}, {0.150, 0.060, 1}};
  switch (code) {
    case 9:  // BT.2020
      return Primaries{kD65, {{0.708, 0.292, 1}, {0.170, 0.797, 1}, {0.131, 0.046, 1}}};
    case 11:  // DCI P3
      return Primaries{{0.314, 0.351, 1}, kP3};
    case 12:  // Display P3
      return Primaries{kD65, kP3};
    case kAdobeRgb.primaries:
      return Primaries{kD65, {{0.640, 0.330, 1}, {0.210, 0.710, 1}, {0.150, 0.060, 1}}};
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
    case 4:
      return Curve(cmsBuildGamma(nullptr, 2.2));
    case 5:
      return Curve(cmsBuildGamma(nullptr, 2.8));
    case kAdobeRgb.transfer:
      return Curve(cmsBuildGamma(nullptr, 563.0 / 256));
    default:
      return nullptr;
  }
}

/// The profile of named colours; null for those that pass for sRGB.
Profile profileOf(ColourCodes codes) {
  const auto primaries = widePrimaries(codes.primaries);
  const Curve curve = primaries ? curveOf(codes.transfer) : nullptr;
  if (!curve) return nullptr;
  const std::array<cmsToneCurve*, 3> curves{curve.get(), curve.get(), curve.get()};
  return Profile(cmsCreateRGBProfile(&primaries->white, &primaries->colours, curves.data()));
}

/// The transfer of a high range that the profile's curve is; unspecified when it is another one.
/// Profiles of older versions say it by nothing else.
int highRangeOf(cmsHPROFILE profile) {
  // Light at some values, of the most there can be.
  struct Sample {
    double value, pq, hlg;
  };
  static constexpr std::array kSamples{Sample{0.25, 0.000515, 0.02083},
                                       Sample{0.5, 0.009225, 0.08333},
                                       Sample{0.75, 0.09834, 0.26496}};
  const auto* const curve =
      static_cast<const cmsToneCurve*>(cmsReadTag(profile, cmsSigGreenTRCTag));
  if (curve == nullptr) return ColourCodes().transfer;
  const auto fits = [curve](double Sample::*light) {
    return std::all_of(kSamples.begin(), kSamples.end(), [&](const Sample& sample) {
      const double seen = cmsEvalToneCurveFloat(curve, static_cast<cmsFloat32Number>(sample.value));
      constexpr double kTolerance = 0.1;
      return std::abs(seen - sample.*light) <= kTolerance * sample.*light;
    });
  };
  if (fits(&Sample::pq)) return kTransferPq;
  return fits(&Sample::hlg) ? kTransferHlg : ColourCodes().transfer;
}

/// The gamut, of those that go with a high range, whose red is the profile's.
int gamutOf(cmsHPROFILE profile) {
  const auto* const red = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, cmsSigRedColorantTag));
  constexpr int kSrgb = 1;
  constexpr int kP3 = 12;
  constexpr int kBt2020 = 9;
  if (red == nullptr) return kBt2020;
  // How red it is, once all is brought to the white of profiles.
  const double share = red->X / (red->X + red->Y + red->Z);
  constexpr double kBetweenSrgbAndP3 = 0.664;
  constexpr double kBetweenP3AndBt2020 = 0.693;
  if (share < kBetweenSrgbAndP3) return kSrgb;
  return share < kBetweenP3AndBt2020 ? kP3 : kBt2020;
}

bool isRgb(VipsImage* image) {
  return (image->BandFmt == VIPS_FORMAT_UCHAR || image->BandFmt == VIPS_FORMAT_USHORT) &&
         (image->Type == VIPS_INTERPRETATION_sRGB || image->Type == VIPS_INTERPRETATION_RGB16) &&
         (image->Bands == 3 || image->Bands == 4);
}

}  // namespace

std::span<const std::uint8_t> profileToKeep(VipsImage* image) {
  const auto bytes = profileOf(image);
  if (bytes.empty() || bytes.size() > kMaximumProfileSize || !isRgb8(image)) return {};
  const Profile profile = openProfile(bytes);
  const bool isUsable = profile && cmsGetColorSpace(profile.get()) == cmsSigRgbData &&
                        !isHighRange(highRangeCodes(bytes));
  return isUsable ? bytes : std::span<const std::uint8_t>();
}

ColourCodes highRangeCodes(std::span<const std::uint8_t> bytes) {
  const Profile profile = openProfile(bytes);
  if (!profile || cmsGetColorSpace(profile.get()) != cmsSigRgbData) return {};
  if (const auto* const named =
          static_cast<const cmsVideoSignalType*>(cmsReadTag(profile.get(), cmsSigcicpTag))) {
    const ColourCodes codes{named->ColourPrimaries, named->TransferCharacteristics};
    return isHighRange(codes) ? codes : ColourCodes();
  }
  const int transfer = highRangeOf(profile.get());
  return transfer == ColourCodes().transfer ? ColourCodes()
                                            : ColourCodes{gamutOf(profile.get()), transfer};
}

bool makeSrgb(ImagePtr& image, ColourTransformPtr& rest) {
  const auto profile = profileOf(image.get());
  const ColourCodes named = profile.empty() ? namedColours(image.get()) : highRangeCodes(profile);
  if (isHighRange(named) && isRgb(image.get())) return mapTones(image, named);
  if (isRgb8(image.get())) {
    rest = transformFrom(profile.empty() ? profileOf(named) : openProfile(profile), image->Bands);
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
