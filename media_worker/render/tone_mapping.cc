// Signals become light by a table, the primaries become those of sRGB by a matrix, the light is
// bent, and becomes sRGB by another table. All of it is done by libvips where and when pixels are
// wanted, so that none are kept. libavfilter, which does the same for exports, would bring thirty
// libraries into each worker, of which pictures need nothing else.
#include "media_worker/render/tone_mapping.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <vector>

#include "media_worker/reading/light.h"
namespace quorvin {

namespace {

/// Reference whites of a PQ signal from 0 to 1.
double lightOfPq(double signal) {
  constexpr double kM1 = 2610.0 / 16384;
  constexpr double kM2 = 2523.0 / 32;
  constexpr double kC1 = 3424.0 / 4096;
  constexpr double kC2 = 2413.0 / 128;
  constexpr double kC3 = 2392.0 / 128;
  const double root = std::pow(signal, 1 / kM2);
  return kMostLight * std::pow(std::max(root - kC1, 0.0) / (kC2 - kC3 * root), 1 / kM1);
}

/// Of an HLG signal: what the scene had, from 0 to 1.
double sceneOfHlg(double signal) {
  constexpr double kA = 0.17883277;
  constexpr double kB = 1 - 4 * kA;
  const double c = 0.5 - kA * std::log(4 * kA);
  return signal <= 0.5 ? signal * signal / 3 : (std::exp((signal - c) / kA) + kB) / 12;
}

/// Primaries, all with the same white.
struct Gamut {
  std::array<double, 3> brightness;  ///< of each of them
  std::array<double, 9> toSrgb;
};

constexpr Gamut kSrgb{{0.2126, 0.7152, 0.0722}, {1, 0, 0, 0, 1, 0, 0, 0, 1}};
constexpr Gamut kDisplayP3{
    {0.22897, 0.69174, 0.07929},
    {1.22494, -0.22494, 0, -0.04206, 1.04206, 0, -0.01964, -0.07864, 1.09828}};
constexpr Gamut kBt2020{
    {0.2627, 0.6780, 0.0593},
    {1.66049, -0.58764, -0.07285, -0.12455, 1.13290, -0.00835, -0.01815, -0.10058, 1.11873}};

/// Without a word of theirs, those that HDR goes with.
const Gamut& gamutOf(int primaries) {
  switch (primaries) {
    case 1:
      return kSrgb;
    case 11:
    case 12:
      return kDisplayP3;
    default:
      return kBt2020;
  }
}

/// A screen for HLG is taken to show so much light, and to bend that of the scene accordingly.
constexpr double kHlgScreen = 1000 / kReferenceWhite;
constexpr double kHlgBend = 1.2 - 1;

double srgbOfLight(double light) {
  return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

constexpr int kSteps = 65'536;

/// A table of `kind` with the value of each of the steps from 0 to 1.
template <class Value, class Function>
ImagePtr table(VipsBandFormat kind, int steps, Function&& valueAt) {
  std::vector<Value> values(static_cast<std::size_t>(steps));
  for (int i = 0; i < steps; ++i) {
    values[static_cast<std::size_t>(i)] =
        static_cast<Value>(valueAt(static_cast<double>(i) / (steps - 1)));
  }
  return ImagePtr(vips_image_new_from_memory_copy(values.data(), values.size() * sizeof(Value),
                                                  steps, 1, 1, kind));
}

bool mapBy(ImagePtr& image, const ImagePtr& tableOfAll) {
  return tableOfAll && apply(image, [&](VipsImage* in, VipsImage** out) {
           return vips_maplut(in, out, tableOfAll.get(), nullptr);
         });
}

bool mixBy(ImagePtr& image, std::span<const double> rows) {
  const auto count = static_cast<int>(rows.size());
  const ImagePtr matrix(vips_image_new_matrix_from_array(3, count / 3, rows.data(), count));
  return matrix && apply(image, [&](VipsImage* in, VipsImage** out) {
           return vips_recomb(in, out, matrix.get(), nullptr);
         });
}

bool multiply(ImagePtr& image, const ImagePtr& factor) {
  return apply(image, [&](VipsImage* in, VipsImage** out) {
    return vips_multiply(in, factor.get(), out, nullptr);
  });
}

ImagePtr shared(const ImagePtr& image) {
  g_object_ref(image.get());
  return ImagePtr(image.get());
}

/// What an HLG screen makes of the scene.
bool bendScene(ImagePtr& image, const Gamut& gamut) {
  ImagePtr factor = shared(image);
  const bool made =
      mixBy(factor, gamut.brightness) &&
      apply(factor, [](VipsImage* in,
                       VipsImage** out) { return vips_pow_const1(in, out, kHlgBend, nullptr); }) &&
      apply(factor, [](VipsImage* in, VipsImage** out) {
        return vips_linear1(in, out, kHlgScreen, 0, nullptr);
      });
  return made && multiply(image, factor);
}

/// The brightest of the three channels.
ImagePtr brightest(const ImagePtr& image) {
  std::array<ImagePtr, 3> channels;
  std::array<VipsImage*, 3> each{};
  for (int c = 0; c < 3; ++c) {
    VipsImage* out = nullptr;
    if (vips_extract_band(image.get(), &out, c, nullptr) != 0) return nullptr;
    channels.at(static_cast<std::size_t>(c)).reset(out);
    each.at(static_cast<std::size_t>(c)) = out;
  }
  VipsImage* most = nullptr;
  return vips_bandrank(each.data(), &most, 3, "index", 2, nullptr) == 0 ? ImagePtr(most) : nullptr;
}

/// Above the knee, of the light s: scale * (s + a) / (s + b).
bool bendLight(ImagePtr& image) {
  constexpr double kA =
      -kKnee * kKnee * (kMostLight - 1) / (kKnee * kKnee - 2 * kKnee + kMostLight);
  constexpr double kB = (kKnee * kKnee - 2 * kKnee * kMostLight + kMostLight) / (kMostLight - 1);
  constexpr double kScale = (kKnee + kB) * (kKnee + kB) / (kB - kA);
  const ImagePtr most = brightest(image);
  if (!most) return false;
  // (s + b) s
  ImagePtr below = shared(most);
  // scale (s + a)
  ImagePtr factor = shared(most);
  const auto line = [](ImagePtr& of, double slope, double offset) {
    return apply(of, [&](VipsImage* in, VipsImage** out) {
      return vips_linear1(in, out, slope, offset, nullptr);
    });
  };
  if (!line(below, 1, kB) || !multiply(below, most) || !line(factor, kScale, kScale * kA) ||
      !apply(factor, [&](VipsImage* in, VipsImage** out) {
        return vips_divide(in, below.get(), out, nullptr);
      })) {
    return false;
  }
  ImagePtr isBent = shared(most);
  ImagePtr one = shared(most);
  return apply(isBent, [](VipsImage* in,
                          VipsImage** out) { return vips_more_const1(in, out, kKnee, nullptr); }) &&
         line(one, 0, 1) &&
         apply(isBent,
               [&](VipsImage* in, VipsImage** out) {
                 return vips_ifthenelse(in, factor.get(), one.get(), out, nullptr);
               }) &&
         multiply(image, isBent);
}

/// Light from 0 to 1 becomes sRGB; what is beyond is cut.
bool encode(ImagePtr& image) {
  return apply(image,
               [](VipsImage* in, VipsImage** out) {
                 return vips_linear1(in, out, kSteps - 1, 0.5, nullptr);
               }) &&
         apply(image,
               [](VipsImage* in, VipsImage** out) {
                 return vips_cast(in, out, VIPS_FORMAT_USHORT, nullptr);
               }) &&
         mapBy(image, table<std::uint8_t>(VIPS_FORMAT_UCHAR, kSteps, [](double light) {
                 return std::lround(255 * srgbOfLight(light));
               }));
}

bool mapColours(ImagePtr& image, ColourCodes codes) {
  const bool isHlg = codes.transfer == kTransferHlg;
  const int steps = image->BandFmt == VIPS_FORMAT_UCHAR ? 256 : kSteps;
  const Gamut& gamut = gamutOf(codes.primaries);
  return mapBy(image, table<float>(VIPS_FORMAT_FLOAT, steps, isHlg ? sceneOfHlg : lightOfPq)) &&
         (!isHlg || bendScene(image, gamut)) && mixBy(image, gamut.toSrgb) && bendLight(image) &&
         encode(image);
}

/// The alpha of the image in 8 bits; null when it has none, or that fails.
ImagePtr alphaOf(const ImagePtr& image) {
  if (image->Bands < 4) return nullptr;
  ImagePtr alpha = shared(image);
  const bool deep = image->BandFmt == VIPS_FORMAT_USHORT;
  const bool done =
      apply(alpha, [](VipsImage* in,
                      VipsImage** out) { return vips_extract_band(in, out, 3, nullptr); }) &&
      (!deep || apply(alpha, [](VipsImage* in, VipsImage** out) {
        return vips_cast(in, out, VIPS_FORMAT_UCHAR, "shift", TRUE, nullptr);
      }));
  return done ? std::move(alpha) : nullptr;
}

}  // namespace

bool mapTones(ImagePtr& image, ColourCodes codes) {
  const ImagePtr alpha = alphaOf(image);
  const bool hasAlpha = image->Bands > 3;
  if (hasAlpha && (!alpha || !apply(image, [](VipsImage* in, VipsImage** out) {
        return vips_extract_band(in, out, 0, "n", 3, nullptr);
      }))) {
    return false;
  }
  if (!mapColours(image, codes)) return false;
  if (hasAlpha && !apply(image, [&](VipsImage* in, VipsImage** out) {
        return vips_bandjoin2(in, alpha.get(), out, nullptr);
      })) {
    return false;
  }
  return apply(image, [](VipsImage* in, VipsImage** out) {
    return vips_copy(in, out, "interpretation", VIPS_INTERPRETATION_sRGB, nullptr);
  });
}

}  // namespace quorvin
