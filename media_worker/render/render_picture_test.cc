// Sizes, turns and colours of rendered pictures.

#include <gtest/gtest.h>
#include <lcms2.h>

#include <array>
#include <memory>
#include <tuple>

#include "testing/media/renderings.h"

namespace quorvin {
namespace {

class RenderTurned : public testing::TestWithParam<std::tuple<const char*, int>> {};

TEST_P(RenderTurned, StandsUprightAtTheOriginalSize) {
  const auto [suffix, orientation] = GetParam();
  const Bytes file = saved(stored(quadrants(96, 64), orientation), suffix, orientation);
  const Picture picture = rendered(file, original());
  ASSERT_EQ(picture.width, 96);
  ASSERT_EQ(picture.height, 64);
  expectQuadrants(picture, 12);
}

TEST_P(RenderTurned, StandsUprightWhenScaled) {
  const auto [suffix, orientation] = GetParam();
  const Bytes file = saved(stored(quadrants(960, 640), orientation), suffix, orientation);
  const Picture picture = rendered(file, fitInto(45, 100));
  ASSERT_EQ(picture.width, 45);
  ASSERT_EQ(picture.height, 30);
  expectQuadrants(picture, 12);
}

INSTANTIATE_TEST_SUITE_P(Formats, RenderTurned,
                         testing::Combine(testing::Values(".jpg[Q=95]", ".tif", ".webp"),
                                          testing::Range(1, 9)));

struct Scaling {
  int width, height;
  double targetWidth, targetHeight;
  RenderRequest::Fit fit;
  bool crop;
  int expectedWidth, expectedHeight;
};

class RenderScaled : public testing::TestWithParam<std::tuple<Scaling, const char*>> {};

TEST_P(RenderScaled, HasTheExactSize) {
  const auto& [scaling, suffix] = GetParam();
  RenderRequest request = fitInto(scaling.targetWidth, scaling.targetHeight);
  request.fit = scaling.fit;
  request.crop = scaling.crop;
  const Bytes file = saved(quadrants(scaling.width, scaling.height), suffix);
  const Picture picture = rendered(file, request);
  EXPECT_EQ(picture.width, scaling.expectedWidth);
  EXPECT_EQ(picture.height, scaling.expectedHeight);
}

constexpr auto kFit = RenderRequest::Fit::fit;
constexpr auto kFill = RenderRequest::Fit::fill;

INSTANTIATE_TEST_SUITE_P(
    Formats, RenderScaled,
    testing::Combine(testing::Values(Scaling{1001, 667, 100, 100, kFit, false, 100, 67},
                                     Scaling{667, 1001, 100, 100, kFit, false, 67, 100},
                                     Scaling{1001, 667, 100, 100, kFill, false, 150, 100},
                                     Scaling{1001, 667, 100, 100, kFill, true, 100, 100},
                                     Scaling{1001, 667, 500, 501, kFit, false, 500, 333},
                                     Scaling{1001, 667, 1000.4, 1000, kFit, false, 1000, 667},
                                     Scaling{40, 30, 100, 100, kFit, false, 40, 30},
                                     Scaling{40, 30, 100, 20, kFill, true, 40, 20},
                                     Scaling{3000, 2, 10, 10, kFit, false, 10, 1}),
                     testing::Values(".jpg", ".png", ".webp")));

TEST(RenderScaled, MakesALargePictureAsSmallAsIsWanted) {
  const Picture large = filled(3000, 2000, {100, 150, 200, 255});
  for (const char* suffix : {".png", ".jpg[Q=95]"}) {
    const Bytes file = saved(large, suffix);
    for (const int side : {1, 2, 9, 30, 47, 300}) {
      const Picture picture = rendered(file, fitInto(side, side));
      ASSERT_EQ(picture.width, side) << suffix;
      EXPECT_TRUE(isNear(picture.at(side / 2, 0), {100, 150, 200, 255}, 3))
          << suffix << side << " " << int{picture.at(side / 2, 0)[0]};
    }
  }
}

TEST(RenderScaled, CutsAroundTheCentre) {
  Picture striped = filled(300, 100, kRed);
  for (int y = 0; y < 100; ++y) {
    for (int x = 100; x < 200; ++x) striped.set(x, y, kGreen);
  }
  RenderRequest request = fitInto(50, 50);
  request.fit = kFill;
  request.crop = true;
  const Picture picture = rendered(saved(striped, ".png"), request);
  ASSERT_EQ(picture.width, 50);
  EXPECT_TRUE(isNear(picture.at(2, 25), kGreen, 12));
  EXPECT_TRUE(isNear(picture.at(47, 25), kGreen, 12));
}

TEST(RenderScaled, RefusesATargetThatIsNoSize) {
  std::string reason;
  EXPECT_EQ(rendered(saved(quadrants(8, 8), ".png"), fitInto(0, 256), &reason).width, 0);
  EXPECT_EQ(reason, "The target size 0 × 256 is not valid.");
}

TEST(RenderColour, KeepsAlpha) {
  Picture picture = filled(64, 64, kClear, 4);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 32; ++x) picture.set(x, y, {255, 0, 0, 128});
  }
  const Picture whole = rendered(saved(picture, ".png"), original());
  ASSERT_EQ(whole.channels, 4);
  EXPECT_EQ(whole.pixels, picture.pixels);
  const Picture small = rendered(saved(picture, ".png"), fitInto(16, 16));
  ASSERT_EQ(small.channels, 4);
  EXPECT_TRUE(isNear(small.at(2, 8), {255, 0, 0, 128}, 2));
  EXPECT_EQ(small.at(14, 8)[3], 0);
}

TEST(RenderColour, DoesNotBleedTheColourOfWhatIsTransparent) {
  Picture picture = filled(64, 64, {0, 255, 0, 0}, 4);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 33; ++x) picture.set(x, y, kRed);
  }
  const Picture small = rendered(saved(picture, ".png"), fitInto(16, 16));
  for (int x = 0; x < 16; ++x) {
    if (small.at(x, 8)[3] == 0) continue;
    EXPECT_LE(small.at(x, 8)[1], 2) << x;
  }
}

TEST(RenderColour, MakesGreyRgb) {
  const Picture grey = filled(16, 16, {90, 90, 90, 255}, 1);
  for (const char* suffix : {".jpg[Q=95]", ".png", ".tif"}) {
    const Picture picture = rendered(saved(grey, suffix), original());
    ASSERT_EQ(picture.channels, 3) << suffix;
    EXPECT_TRUE(isNear(picture.at(8, 8), {90, 90, 90, 255}, 1)) << suffix;
  }
}

TEST(RenderColour, MakesGreyWithAlphaRgba) {
  const Picture picture = rendered(saved(filled(16, 16, {90, 40, 0, 0}, 2), ".png"), original());
  ASSERT_EQ(picture.channels, 4);
  EXPECT_TRUE(isNear(picture.at(8, 8), {90, 90, 90, 40}, 1));
}

TEST(RenderColour, ShowsPalettes) {
  const Picture picture = rendered(saved(quadrants(64, 64), ".png[palette]"), original());
  EXPECT_EQ(picture.channels, 3);
  expectQuadrants(picture, 2);
}

TEST(RenderColour, MakesSixteenBitsEight) {
  for (const char* suffix : {".png", ".tif"}) {
    ImagePtr image = vipsImage(quadrants(64, 64));
    ASSERT_TRUE(apply(image, [](VipsImage* in, VipsImage** out) {
      return vips_colourspace(in, out, VIPS_INTERPRETATION_RGB16, nullptr);
    }));
    for (const RenderRequest& request : {original(), fitInto(32, 32)}) {
      const Picture picture = rendered(saved(image.get(), suffix), request);
      ASSERT_EQ(picture.channels, 3) << suffix;
      expectQuadrants(picture, 2);
    }
  }
}

TEST(RenderColour, MakesCmykRgb) {
  for (const char* suffix : {".jpg[Q=95]", ".tif"}) {
    ImagePtr image = vipsImage(quadrants(64, 64));
    ASSERT_TRUE(apply(image, [](VipsImage* in, VipsImage** out) {
      return vips_colourspace(in, out, VIPS_INTERPRETATION_CMYK, nullptr);
    }));
    vips_image_remove(image.get(), VIPS_META_ICC_NAME);
    const Picture picture = rendered(saved(image.get(), suffix), original());
    ASSERT_EQ(picture.channels, 3) << suffix;
    // Inks reach no pure screen colours; what matters is that none is exchanged or inverted.
    EXPECT_TRUE(isNear(picture.at(16, 16), {230, 30, 35, 255}, 40)) << suffix;
    EXPECT_GT(picture.at(48, 16)[1], picture.at(48, 16)[0]) << suffix;
    EXPECT_GT(picture.at(48, 16)[1], picture.at(48, 16)[2] + 50) << suffix;
    EXPECT_GT(picture.at(16, 48)[2], picture.at(16, 48)[0] + 50) << suffix;
    EXPECT_GT(picture.at(16, 48)[2], picture.at(16, 48)[1] + 50) << suffix;
    EXPECT_TRUE(isNear(picture.at(48, 48), kWhite, 8)) << suffix;
  }
}

using Profile = std::unique_ptr<void, decltype([](void* profile) { cmsCloseProfile(profile); })>;

Bytes profileBytes(const Profile& profile) {
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(profile.get(), nullptr, &size);
  Bytes bytes(size);
  cmsSaveProfileToMem(profile.get(), bytes.data(), &size);
  return bytes;
}

TEST(RenderColour, ConvertsAWideGamut) {
  const Picture picture = filled(32, 32, {100, 150, 200, 255});
  for (const char* suffix : {".jpg[Q=100]", ".png", ".tif", ".webp[lossless]"}) {
    for (const RenderRequest& request : {original(), fitInto(8, 8)}) {
      const Picture shown = rendered(withProfile(picture, wideProfile(), suffix), request);
      ASSERT_EQ(shown.channels, 3) << suffix;
      // By the two colour spaces' definitions.
      EXPECT_TRUE(isNear(shown.at(4, 4), {66, 151, 203, 255}, 3)) << suffix;
    }
  }
}

TEST(RenderColour, KeepsAlphaThroughAProfile) {
  const Picture picture = filled(32, 32, {100, 150, 200, 77}, 4);
  const Picture shown = rendered(withProfile(picture, wideProfile(), ".png"), original());
  ASSERT_EQ(shown.channels, 4);
  EXPECT_TRUE(isNear(shown.at(4, 4), {66, 151, 203, 77}, 3));
}

TEST(RenderColour, LeavesWhatIsSrgbAlready) {
  const Profile srgb(cmsCreate_sRGBProfile());
  Picture picture(256, 4, 3);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 256; ++x) picture.set(x, y, {x, 255 - x, x / 2, 255});
  }
  EXPECT_EQ(rendered(withProfile(picture, profileBytes(srgb), ".png"), original()).pixels,
            picture.pixels);
}

TEST(RenderColour, PassesOverAProfileThatIsNone) {
  const Picture picture = quadrants(32, 32);
  EXPECT_EQ(rendered(withProfile(picture, Bytes(200, 7), ".png"), original()).pixels,
            picture.pixels);
}

TEST(RenderColour, PassesOverAProfileOfAnotherKindOfColour) {
  cmsToneCurve* gamma = cmsBuildGamma(nullptr, 1.8);
  const Profile grey(cmsCreateGrayProfile(cmsD50_xyY(), gamma));
  cmsFreeToneCurve(gamma);
  const Picture picture = quadrants(32, 32);
  EXPECT_EQ(rendered(withProfile(picture, profileBytes(grey), ".png"), original()).pixels,
            picture.pixels);
}

TEST(RenderAnimation, ShowsTheFirstFrame) {
  ImagePtr frames = vipsImage(filled(32, 96, kBlue));
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 32; ++x) {
      std::uint8_t* pixel = VIPS_IMAGE_ADDR(frames.get(), x, y);
      pixel[0] = 255;
      pixel[2] = 0;
    }
  }
  vips_image_set_int(frames.get(), VIPS_META_PAGE_HEIGHT, 32);
  for (const char* suffix : {".gif", ".webp[lossless]", ".tif"}) {
    const Bytes file = saved(frames.get(), suffix);
    for (const RenderRequest& request : {original(), fitInto(8, 8)}) {
      const Picture picture = rendered(file, request);
      ASSERT_EQ(picture.width, picture.height) << suffix;
      EXPECT_TRUE(isNear(picture.at(4, 4), kRed, 2)) << suffix;
    }
  }
}

/// A Windows bitmap of 24 bits a pixel, without a palette or compression.
Bytes bitmap(const Picture& picture) {
  const auto rowBytes = static_cast<std::size_t>(picture.width * 3 + 3) / 4 * 4;
  Bytes bytes{'B', 'M'};
  const auto append = [&bytes](std::size_t value, int size) {
    for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  };
  const auto height = static_cast<std::size_t>(picture.height);
  append(54 + rowBytes * height, 4);
  append(0, 4);
  append(54, 4);
  append(40, 4);
  append(static_cast<std::size_t>(picture.width), 4);
  append(height, 4);
  append(1, 2);
  append(24, 2);
  bytes.resize(54);
  for (int y = picture.height - 1; y >= 0; --y) {
    for (int x = 0; x < picture.width; ++x) {
      const Colour colour = picture.at(x, y);
      for (const int c : {2, 1, 0}) append(static_cast<std::size_t>(colour.at(c)), 1);
    }
    append(0, static_cast<int>(rowBytes) - picture.width * 3);
  }
  return bytes;
}

TEST(RenderPicture, ShowsBitmaps) {
  EXPECT_EQ(rendered(bitmap(quadrants(33, 20)), original()).pixels, quadrants(33, 20).pixels);
  const Picture small = rendered(bitmap(quadrants(330, 200)), fitInto(33, 33));
  EXPECT_EQ(small.height, 20);
  expectQuadrants(small, 12);
}

TEST(RenderPicture, ShowsJpeg2000) {
  const Picture picture = rendered(saved(quadrants(96, 64), ".jp2[lossless]"), original());
  ASSERT_EQ(picture.width, 96);
  expectQuadrants(picture, 4);
}

TEST(RenderPicture, ReadsFromTheBeginningWhateverTheDescriptorsOffset) {
  const Bytes png = saved(quadrants(32, 32), ".png");
  EXPECT_EQ(rendered(png, original()).pixels, quadrants(32, 32).pixels);
}

}  // namespace
}  // namespace quorvin
