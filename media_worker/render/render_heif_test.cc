#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>
#include <utility>

#include "testing/media/heif_pictures.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

class RenderTurnedHeif : public testing::TestWithParam<int> {};

TEST_P(RenderTurnedHeif, StandsUprightByTheTurnsOfTheContainer) {
  for (const bool avif : {false, true}) {
    const Bytes file =
        heif(stored(quadrants(128, 96), GetParam()), {.avif = avif, .orientation = GetParam()});
    for (const RenderRequest& request : {original(), fitInto(64, 64)}) {
      const Picture picture = rendered(file, request);
      ASSERT_EQ(picture.width * 96, picture.height * 128);
      expectQuadrants(picture, 20);
    }
  }
}

TEST_P(RenderTurnedHeif, IgnoresTheOrientationInExif) {
  const Picture picture =
      rendered(heif(quadrants(128, 96), {.exifOrientation = GetParam()}), original());
  ASSERT_EQ(picture.width, 128);
  ASSERT_EQ(picture.height, 96);
  expectQuadrants(picture, 20);
}

INSTANTIATE_TEST_SUITE_P(Orientations, RenderTurnedHeif, testing::Range(1, 9));

TEST(RenderHeif, TurnsOnceWhenTheContainerAndExifAgree) {
  const Bytes file = heif(stored(quadrants(128, 96), 6), {.orientation = 6, .exifOrientation = 6});
  const Picture picture = rendered(file, original());
  ASSERT_EQ(picture.width, 128);
  expectQuadrants(picture, 20);
}

TEST(RenderHeif, KeepsAlpha) {
  const Picture picture = rendered(heif(filled(64, 64, {255, 0, 0, 100}, 4)), original());
  ASSERT_EQ(picture.channels, 4);
  EXPECT_TRUE(isNear(picture.at(32, 32), {255, 0, 0, 100}, 6));
}

TEST(RenderHeif, ShowsOddSizes) {
  for (const int width : {65, 66, 67}) {
    const Picture picture = rendered(heif(quadrants(width, 71)), original());
    EXPECT_EQ(picture.width, width);
    EXPECT_EQ(picture.height, 71);
    expectQuadrants(picture, 20);
  }
}

/// A red file of 640 by 480 pixels with a green preview, so that it shows which was decoded.
Bytes withPreview(int width, int height, int size) {
  HeifOptions options;
  options.thumbnailSize = size;
  options.thumbnail = filled(width, height, kGreen);
  return heif(filled(640, 480, kRed), options);
}

bool usesPreview(const Bytes& file, double target) {
  const Picture picture = rendered(file, fitInto(target, target));
  EXPECT_EQ(picture.width, static_cast<int>(target));
  return isNear(picture.at(picture.width / 2, picture.height / 2), kGreen, 20);
}

TEST(RenderHeifPreview, IsUsedWhenItHasPixelsEnough) {
  const Bytes file = withPreview(640, 480, 320);
  EXPECT_TRUE(usesPreview(file, 256));
  EXPECT_TRUE(usesPreview(file, 320));
}

TEST(RenderHeifPreview, IsPassedOverWhenItHasTooFewPixels) {
  const Bytes file = withPreview(640, 480, 320);
  EXPECT_FALSE(usesPreview(file, 321));
  EXPECT_FALSE(usesPreview(file, 640));
}

TEST(RenderHeifPreview, IsPassedOverWhenItShowsAnotherCut) {
  EXPECT_FALSE(usesPreview(withPreview(640, 400, 320), 128));
  EXPECT_FALSE(usesPreview(withPreview(480, 480, 320), 128));
}

TEST(RenderTiledHeif, PutsEveryTileInItsPlaceWhateverTheTurn) {
  constexpr std::array kTurns{std::pair(1, 0), std::pair(8, 1), std::pair(3, 2), std::pair(6, 3)};
  const Picture upright = gradient(150, 200);
  for (const auto& [orientation, quarterTurns] : kTurns) {
    const Bytes file = tiledHeic(stored(upright, orientation), 64, quarterTurns);
    RenderRequest strict = original();
    strict.failOnDamage = true;
    for (const RenderRequest& request : {original(), strict}) {
      const Picture picture = rendered(file, request);
      ASSERT_EQ(picture.width, upright.width);
      ASSERT_EQ(picture.height, upright.height);
      for (int y = 0; y < upright.height; y += 7) {
        for (int x = 0; x < upright.width; x += 7) {
          ASSERT_TRUE(isNear(picture.at(x, y), upright.at(x, y), 8)) << x << ' ' << y;
        }
      }
    }
  }
}

TEST(RenderTiledHeif, FailsWhenATileIsCutShort) {
  Bytes file = tiledHeic(gradient(128, 128), 64);
  RenderRequest strict = original();
  strict.failOnDamage = true;
  ASSERT_EQ(rendered(file, strict).width, 128);
  file.resize(file.size() - 50);
  EXPECT_EQ(rendered(file, strict).width, 0);
}

class RenderCodedHeif : public testing::TestWithParam<std::tuple<int, bool, const char*>> {};

TEST_P(RenderCodedHeif, HasTheColoursOfTheCodingThatTheFileNames) {
  const auto [matrix, fullRange, chroma] = GetParam();
  HeifOptions options;
  options.chroma = chroma;
  options.coding = {.primaries = 1, .transfer = 13, .matrix = matrix, .fullRange = fullRange};
  for (const bool avif : {false, true}) {
    options.avif = avif;
    // Odd sizes are stored as a tile that is cut.
    for (const int width : {128, 131}) {
      const Picture picture = rendered(heif(quadrants(width, 96), options), original());
      ASSERT_EQ(picture.width, width);
      EXPECT_TRUE(isNear(picture.at(32, 24), kRed, 12)) << avif;
      EXPECT_TRUE(isNear(picture.at(96, 24), kGreen, 12)) << avif;
      EXPECT_TRUE(isNear(picture.at(32, 72), kBlue, 12)) << avif;
      EXPECT_TRUE(isNear(picture.at(96, 72), kWhite, 12)) << avif;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Codings, RenderCodedHeif,
                         testing::Combine(testing::Values(1, 6, 9), testing::Bool(),
                                          testing::Values("420", "444")));

TEST(RenderHeif, ShowsTenBitsAChannel) {
  for (const int width : {128, 131}) {
    const Picture picture = rendered(heif(quadrants(width, 96), {.tenBits = true}), original());
    ASSERT_EQ(picture.width, width);
    expectQuadrants(picture, 20);
  }
}

TEST(RenderHeif, ShowsGrey) {
  Picture grey(96, 64, 1);
  for (int y = 0; y < 64; ++y) {
    for (int x = 0; x < 96; ++x) grey.set(x, y, {x * 2, 0, 0, 255});
  }
  const Picture picture = rendered(heif(grey), original());
  ASSERT_EQ(picture.width, 96);
  ASSERT_EQ(picture.channels, 3);
  for (int x = 0; x < 96; x += 5) {
    EXPECT_TRUE(isNear(picture.at(x, 30), {x * 2, x * 2, x * 2, 255}, 4)) << x;
  }
}

struct NamedColours {
  int primaries, transfer;
  Colour expected;
};

class RenderNamedColours : public testing::TestWithParam<NamedColours> {};

TEST_P(RenderNamedColours, BecomeSrgb) {
  HeifOptions options;
  options.coding = {.primaries = GetParam().primaries, .transfer = GetParam().transfer};
  for (const bool avif : {false, true}) {
    options.avif = avif;
    const Bytes file = heif(filled(64, 64, {100, 150, 200, 255}), options);
    const Colour seen = rendered(file, original()).at(32, 32);
    EXPECT_TRUE(isNear(seen, GetParam().expected, 4))
        << seen[0] << ' ' << seen[1] << ' ' << seen[2];
    const Bytes jpeg = conversion(file, ImageFormat::jpeg);
    EXPECT_TRUE(isNear(rendered(jpeg, original()).at(32, 32), GetParam().expected, 5));
  }
}

// By the definitions of the colour spaces.
INSTANTIATE_TEST_SUITE_P(Spaces, RenderNamedColours,
                         testing::Values(NamedColours{12, 13, {83, 152, 205, 255}},
                                         NamedColours{12, 1, {99, 162, 210, 255}},
                                         NamedColours{9, 13, {0, 154, 205, 255}},
                                         NamedColours{9, 14, {44, 164, 211, 255}},
                                         NamedColours{1, 1, {100, 150, 200, 255}},
                                         NamedColours{1, 13, {100, 150, 200, 255}},
                                         NamedColours{2, 2, {100, 150, 200, 255}}));

TEST(RenderProfiledHeif, IsConvertedByTheProfileWhateverElseTheFileNames) {
  HeifOptions options;
  options.coding = {.primaries = 9, .transfer = 13};
  options.profile = wideProfile();
  const Bytes file = heif(filled(64, 64, {100, 150, 200, 255}), options);
  EXPECT_TRUE(isNear(rendered(file, original()).at(32, 32), {66, 151, 203, 255}, 4));
}

TEST(RenderDamagedHeif, FailsWhenAStreamMakesNoSense) {
  // With an even width it is one picture, with an odd one a tile.
  for (const int width : {128, 129}) {
    Bytes file = heif(quadrants(width, 128));
    ASSERT_EQ(rendered(file, original()).width, width);
    constexpr std::string_view kData = "mdat";
    const auto data = std::search(file.begin(), file.end(), kData.begin(), kData.end());
    ASSERT_NE(data, file.end());
    std::fill(data + 4, file.end(), std::uint8_t{0x5a});
    EXPECT_EQ(rendered(file, original()).width, 0) << width;
  }
}

}  // namespace
}  // namespace quorvin
