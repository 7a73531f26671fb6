// What is for HDR screens, on common ones.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "testing/media/heif_pictures.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

constexpr int kPq = 16;
constexpr int kHlg = 18;

/// Signals of 8 bits for light, by the definitions: white paper, a quarter of it and a lamp.
struct Light {
  int transfer;
  int white;    ///< 203 candela
  int quarter;  ///< 50.75 candela
  int lamp;     ///< 1000 candela
};
constexpr Light kLights[] = {{kPq, 148, 113, 192}, {kHlg, 191, 128, 255}};

/// Three stripes of grey.
Picture stripes(const Light& light) {
  Picture picture(192, 64, 3);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const int value = x < 64 ? light.quarter : x < 128 ? light.white : light.lamp;
      picture.set(x, y, {value, value, value, 255});
    }
  }
  return picture;
}

/// Greys, each brighter than the one before, with paper near white.
void expectOnCommonScreen(const Picture& seen) {
  ASSERT_EQ(seen.width, 192);
  const auto greyAt = [&seen](int x) {
    const Colour colour = seen.at(x, 32);
    EXPECT_TRUE(isNear(colour, {colour[1], colour[1], colour[1], 255}, 3));
    return colour[1];
  };
  EXPECT_NEAR(greyAt(32), 137, 8);
  EXPECT_NEAR(greyAt(96), 238, 4);
  EXPECT_NEAR(greyAt(160), 252, 4);
}

/// What the ffmpeg program makes of the stripes, with the light named in the file.
Bytes coded(const Light& light, const std::string& filters, const std::string& output,
            const std::string& extension) {
  std::string sources;
  std::string inputs;
  for (const int code : {light.quarter, light.white, light.lamp}) {
    std::ostringstream source;
    source << "color=0x" << std::hex << code << code << code << ":s=64x64:r=5:d=1,format=gbrp";
    sources += source.str() + "[" + std::to_string(code) + "];";
    inputs += "[" + std::to_string(code) + "]";
  }
  const std::string transfer = light.transfer == kPq ? "smpte2084" : "arib-std-b67";
  // Newer versions believe the frames, older ones the options.
  return ffmpegOutput("-f lavfi -i '" + sources + inputs + "hstack=3' -vf " + filters +
                          ",setparams=color_primaries=bt2020:color_trc=" + transfer +
                          " -color_primaries bt2020 -color_trc " + transfer + " " + output,
                      extension);
}

constexpr const char* kTenBits =
    "scale=out_color_matrix=bt2020:out_range=tv,format=yuv420p10le,"
    "setparams=colorspace=bt2020nc:range=tv";
constexpr const char* kTenBitsNamed = "-colorspace bt2020nc -color_range tv ";

class RenderLight : public testing::TestWithParam<Light> {};

TEST_P(RenderLight, OfPicturesIsBroughtToCommonScreens) {
  HeifOptions options;
  options.coding = {.primaries = 9, .transfer = GetParam().transfer, .matrix = 9};
  HeifOptions deep = options;
  deep.tenBits = true;
  HeifOptions avif = options;
  avif.avif = true;
  const Bytes files[] = {
      heif(stripes(GetParam()), options), heif(stripes(GetParam()), deep),
      heif(stripes(GetParam()), avif),
      coded(GetParam(), kTenBits, std::string(kTenBitsNamed) + "-frames:v 1 -c:v libaom-av1 -crf 1",
            "avif"),
      coded(GetParam(), "format=rgb48le",
            "-frames:v 1 -c:v libjxl -distance 0.1 -colorspace rgb -color_range pc", "jxl")};
  for (const Bytes& file : files) {
    SCOPED_TRACE(&file - files);
    expectOnCommonScreen(rendered(file, original()));
    expectOnCommonScreen(rendered(conversion(file, ImageFormat::jpeg), original()));
    EXPECT_NEAR(rendered(file, fitInto(96, 96)).at(48, 16)[1], 238, 4);
  }
}

TEST_P(RenderLight, OfFilmsIsBroughtToCommonScreens) {
  const Bytes film = coded(
      GetParam(), kTenBits,
      std::string(kTenBitsNamed) + "-c:v libx265 -x265-params log-level=error:lossless=1", "mov");
  RenderRequest request = original();
  request.kind = MediaKind::video;
  expectOnCommonScreen(rendered(film, request));
}

using LightCurve =
    std::unique_ptr<cmsToneCurve, decltype([](cmsToneCurve* c) { cmsFreeToneCurve(c); })>;
using MadeProfile = std::unique_ptr<void, decltype([](void* p) { cmsCloseProfile(p); })>;

/// Light for a signal, of the most there is.
double lightOf(int transfer, double signal) {
  if (transfer == kHlg) {
    return signal <= 0.5 ? signal * signal / 3
                         : (std::exp((signal - 0.55991073) / 0.17883277) + 0.28466892) / 12;
  }
  const double root = std::pow(signal, 32 / 2523.0);
  return std::pow(std::max(root - 0.8359375, 0.0) / (18.8515625 - 18.6875 * root), 16384 / 2610.0);
}

Bytes lightProfile(int transfer, bool byCodes) {
  std::vector<cmsUInt16Number> values(4096);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const double signal = static_cast<double>(i) / 4095;
    values[i] = static_cast<cmsUInt16Number>(
        std::lround(65535 * (byCodes ? std::pow(signal, 2.2) : lightOf(transfer, signal))));
  }
  const LightCurve curve(cmsBuildTabulatedToneCurve16(nullptr, 4096, values.data()));
  cmsToneCurve* const curves[] = {curve.get(), curve.get(), curve.get()};
  const cmsCIExyY white{0.3127, 0.3290, 1};
  const cmsCIExyYTRIPLE primaries{{0.708, 0.292, 1}, {0.170, 0.797, 1}, {0.131, 0.046, 1}};
  const MadeProfile profile(cmsCreateRGBProfile(&white, &primaries, curves));
  if (byCodes) {
    cmsVideoSignalType codes{9, static_cast<cmsUInt8Number>(transfer), 0, 1};
    EXPECT_TRUE(cmsWriteTag(profile.get(), cmsSigcicpTag, &codes));
  }
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile.get(), nullptr, &size);
  Bytes bytes(size);
  cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
  return bytes;
}

TEST_P(RenderLight, IsToldByAProfileToo) {
  for (const bool byCodes : {false, true}) {
    SCOPED_TRACE(byCodes);
    const Bytes profile = lightProfile(GetParam().transfer, byCodes);
    expectOnCommonScreen(rendered(withProfile(stripes(GetParam()), profile, ".png"), original()));
    HeifOptions options;
    options.profile = profile;
    options.tenBits = true;
    const Bytes file = heif(stripes(GetParam()), options);
    expectOnCommonScreen(rendered(file, original()));
    expectOnCommonScreen(rendered(conversion(file, ImageFormat::jpeg), original()));
  }
}

INSTANTIATE_TEST_SUITE_P(Transfers, RenderLight, testing::ValuesIn(kLights));

TEST(RenderGainMap, IsLeftOutOfThePicture) {
  const Picture base = gradient(128, 96);
  const Picture seen =
      rendered(heicWithAuxiliary(base, "urn:example:auxiliary:hdrgainmap"), original());
  ASSERT_EQ(seen.width, base.width);
  ASSERT_EQ(seen.height, base.height);
  for (int y = 4; y < base.height; y += 8) {
    for (int x = 4; x < base.width; x += 8) {
      ASSERT_TRUE(isNear(seen.at(x, y), base.at(x, y), 8)) << x << ' ' << y;
    }
  }
}

}  // namespace
}  // namespace quorvin
