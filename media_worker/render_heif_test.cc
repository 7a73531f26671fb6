#include <gtest/gtest.h>

#include "media_worker/test_media.h"

namespace quorvin {
namespace {

void expectQuadrants(const Picture& picture) {
  ASSERT_GE(picture.width, 4);
  const int right = picture.width * 3 / 4;
  const int bottom = picture.height * 3 / 4;
  EXPECT_TRUE(isNear(picture.at(picture.width / 4, picture.height / 4), kRed, 20));
  EXPECT_TRUE(isNear(picture.at(right, picture.height / 4), kGreen, 20));
  EXPECT_TRUE(isNear(picture.at(picture.width / 4, bottom), kBlue, 20));
  EXPECT_TRUE(isNear(picture.at(right, bottom), kWhite, 20));
}

class RenderTurnedHeif : public testing::TestWithParam<int> {};

TEST_P(RenderTurnedHeif, StandsUprightByTheTurnsOfTheContainer) {
  for (const bool avif : {false, true}) {
    const Bytes file =
        heif(stored(quadrants(128, 96), GetParam()), {.avif = avif, .orientation = GetParam()});
    for (const RenderRequest& request : {original(), fitInto(64, 64)}) {
      const Picture picture = rendered(file, request);
      ASSERT_EQ(picture.width * 96, picture.height * 128);
      expectQuadrants(picture);
    }
  }
}

TEST_P(RenderTurnedHeif, IgnoresTheOrientationInExif) {
  const Picture picture =
      rendered(heif(quadrants(128, 96), {.exifOrientation = GetParam()}), original());
  ASSERT_EQ(picture.width, 128);
  ASSERT_EQ(picture.height, 96);
  expectQuadrants(picture);
}

INSTANTIATE_TEST_SUITE_P(Orientations, RenderTurnedHeif, testing::Range(1, 9));

TEST(RenderHeif, TurnsOnceWhenTheContainerAndExifAgree) {
  const Bytes file = heif(stored(quadrants(128, 96), 6), {.orientation = 6, .exifOrientation = 6});
  const Picture picture = rendered(file, original());
  ASSERT_EQ(picture.width, 128);
  expectQuadrants(picture);
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
    expectQuadrants(picture);
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

}  // namespace
}  // namespace quorvin
