// Exports of pictures whose light exceeds that of common screens.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

constexpr double kReferenceWhite = 203;  ///< candela per square metre
/// Grey patches side by side, from dark to light, in candela per square metre.
const std::vector<double> kPatches{26, 100, kReferenceWhite, 400, 1000};
constexpr int kPatchSize = 64;

/// The signals, from 0 to 1, for a patch of grey.
double perceptualQuantizer(double candela) {
  const double power = std::pow(candela / 10'000, 0.1593017578125);
  return std::pow((0.8359375 + 18.8515625 * power) / (1 + 18.6875 * power), 78.84375);
}
double hybridLogGamma(double candela) {
  const double scene = std::pow(candela / 1000, 1 / 1.2);
  return scene <= 1.0 / 12 ? std::sqrt(3 * scene)
                           : 0.17883277 * std::log(12 * scene - 0.28466892) + 0.55991073;
}

struct Curve {
  const char* name;
  double (*signal)(double candela);
  double whiteSignal;
};
const Curve kCurves[]{{"smpte2084", perceptualQuantizer, 0.5807},
                      {"arib-std-b67", hybridLogGamma, 0.75}};

/// The patches without loss; `options` are further ones of the encoder.
FileDescriptor patches(const Curve& curve, const std::string& options = "") {
  std::string codes;
  for (std::size_t i = 0; i < kPatches.size(); ++i) {
    codes += (i == 0 ? "" : "+") +
             std::to_string(std::lround(64 + 876 * curve.signal(kPatches[i]))) + "*eq(floor(X/" +
             std::to_string(kPatchSize) + ")\\," + std::to_string(i) + ")";
  }
  const std::string size = std::to_string(kPatchSize * static_cast<int>(kPatches.size())) + "x" +
                           std::to_string(kPatchSize);
  return movie("-f lavfi -i \"color=black:s=" + size + ":r=10:d=0.5,format=yuv420p10le,geq=lum='" +
               codes + "':cb=512:cr=512\" -c:v libx265 -preset ultrafast -x265-params " +
               "log-level=none:lossless=1:colorprim=bt2020:colormatrix=bt2020nc:transfer=" +
               curve.name + options);
}

/// The middle of each patch in the last frame of the export.
std::vector<Colour> exportedPatches(const FileDescriptor& source, VideoPreset preset) {
  const Exported result = exported(source, preset);
  EXPECT_EQ(result.reason(), "");
  const auto frames = shown(result.file);
  std::vector<Colour> colours;
  for (std::size_t i = 0; !frames.empty() && i < kPatches.size(); ++i) {
    const int middle = static_cast<int>(i) * kPatchSize + kPatchSize / 2;
    colours.push_back(frames.back().picture.at(middle, kPatchSize / 2));
  }
  return colours;
}

/// Grey that grows lighter from patch to patch, with white near the top of what a screen shows.
void expectCommonLight(const std::vector<Colour>& colours) {
  ASSERT_EQ(colours.size(), kPatches.size());
  int before = 0;
  for (std::size_t i = 0; i < colours.size(); ++i) {
    const auto [red, green, blue, alpha] = colours[i];
    const auto [least, most] = std::minmax({red, green, blue});
    EXPECT_LE(most - least, 3) << kPatches[i];
    EXPECT_GT(green, before) << kPatches[i];
    before = green;
    if (kPatches[i] == kReferenceWhite) {
      EXPECT_GE(least, 225);
    }
  }
  // What is darker than seven tenths of white keeps its light, with the gamma of screens.
  EXPECT_NEAR(colours[0][1], 255 * std::pow(26 / kReferenceWhite, 1 / 2.4), 3);
  EXPECT_NEAR(colours[1][1], 255 * std::pow(100 / kReferenceWhite, 1 / 2.4), 3);
}

TEST(ExportLight, BringsReferenceWhiteNearTheWhiteOfCommonScreens) {
  for (const Curve& curve : kCurves) {
    EXPECT_NEAR(curve.signal(kReferenceWhite), curve.whiteSignal, 0.0005);
    const FileDescriptor source = patches(curve);
    for (const VideoPreset preset : {kHighest, kMedium}) {
      SCOPED_TRACE(std::string(curve.name) + (preset == kMedium ? ", medium" : ", highest"));
      expectCommonLight(exportedPatches(source, preset));
    }
  }
}

TEST(ExportLight, IsTheSameWhateverLightTheFileAnnounces) {
  const auto plain = exportedPatches(patches(kCurves[0]), kHighest);
  for (const char* announced : {":max-cll=300,100", ":max-cll=4000,400"}) {
    const auto announcing = exportedPatches(patches(kCurves[0], announced), kHighest);
    ASSERT_EQ(announcing.size(), plain.size());
    for (std::size_t i = 0; i < plain.size(); ++i) {
      EXPECT_TRUE(isNear(announcing[i], plain[i], 1)) << kPatches[i];
    }
  }
}

}  // namespace
}  // namespace quorvin
