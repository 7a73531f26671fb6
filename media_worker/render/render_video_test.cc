#include <gtest/gtest.h>

#include "testing/media/coded_films.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

RenderRequest poster(double size) {
  RenderRequest request = fitInto(size, size);
  request.kind = MediaKind::video;
  return request;
}

class RenderTurnedVideo : public testing::TestWithParam<int> {};

TEST_P(RenderTurnedVideo, StandsUprightByItsDisplayMatrix) {
  const Bytes file = video({stored(quadrants(192, 128), GetParam())}, {.orientation = GetParam()});
  for (const double size : {10000.0, 96.0}) {
    const Picture picture = rendered(file, poster(size));
    ASSERT_EQ(picture.width, size > 192 ? 192 : 96);
    ASSERT_EQ(picture.height, size > 192 ? 128 : 64);
    expectQuadrants(picture, 30);
  }
}

INSTANTIATE_TEST_SUITE_P(Orientations, RenderTurnedVideo, testing::Range(1, 9));

TEST(RenderVideo, ShowsTheFirstFrame) {
  const Bytes file = video({filled(64, 64, kRed), filled(64, 64, kBlue), filled(64, 64, kBlue)});
  EXPECT_TRUE(isNear(rendered(file, poster(64)).at(32, 32), kRed, 30));
}

TEST(RenderVideo, ShowsABlackFirstFrame) {
  const Bytes file = video({filled(64, 64, {0, 0, 0, 255}), filled(64, 64, kRed)});
  EXPECT_TRUE(isNear(rendered(file, poster(64)).at(32, 32), {0, 0, 0, 255}, 4));
}

TEST(RenderVideo, MakesPixelsSquare) {
  for (const char* container : {"mov", "matroska"}) {
    const Bytes file =
        video({quadrants(144, 128)}, {.aspectWidth = 4, .aspectHeight = 3, .container = container});
    const Picture picture = rendered(file, poster(1000));
    EXPECT_EQ(picture.width, 192) << container;
    EXPECT_EQ(picture.height, 128) << container;
    expectQuadrants(picture, 30);
  }
}

TEST(RenderVideo, MakesPixelsSquareBeforeItTurns) {
  const Bytes file = video({stored(quadrants(128, 144), 6)},
                           {.orientation = 6, .aspectWidth = 4, .aspectHeight = 3});
  const Picture picture = rendered(file, poster(1000));
  EXPECT_EQ(picture.width, 128);
  EXPECT_EQ(picture.height, 192);
  expectQuadrants(picture, 30);
}

TEST(RenderVideo, ReadsOtherContainers) {
  for (const char* container : {"mp4", "matroska", "avi", "mpegts"}) {
    const Picture picture =
        rendered(video({quadrants(192, 128)}, {.container = container}), poster(1000));
    EXPECT_EQ(picture.width, 192) << container;
    expectQuadrants(picture, 30);
  }
}

TEST(RenderVideo, SaysThatASoundHasNoFrame) {
  std::string reason;
  EXPECT_EQ(rendered(sound(), poster(64), &reason).width, 0);
  EXPECT_EQ(reason, "The video has no frame that can be decoded.");
}

}  // namespace
}  // namespace quorvin
