#include "media_protocol/rendering_size.h"

#include <gtest/gtest.h>

#include <limits>

namespace quorvin {
namespace {

constexpr double kUnbounded = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

RenderRequest request(double width, double height, RenderRequest::Fit fit, bool crop = false) {
  RenderRequest made;
  made.targetWidth = width;
  made.targetHeight = height;
  made.fit = fit;
  made.crop = crop;
  return made;
}

PixelSize fit(PixelSize size, double width, double height) {
  return renderingSize(request(width, height, RenderRequest::Fit::fit), size)->scaled;
}

PixelSize fill(PixelSize size, double width, double height) {
  return renderingSize(request(width, height, RenderRequest::Fit::fill), size)->scaled;
}

PixelSize cut(PixelSize size, double width, double height) {
  return renderingSize(request(width, height, RenderRequest::Fit::fill, true), size)->cut;
}

TEST(RenderingSize, FitsInside) {
  EXPECT_EQ(fit({4000, 3000}, 256, 256), (PixelSize{256, 192}));
  EXPECT_EQ(fit({3000, 4000}, 256, 256), (PixelSize{192, 256}));
  EXPECT_EQ(fit({4000, 3000}, 100, 30), (PixelSize{40, 30}));
}

TEST(RenderingSize, RoundsToTheNearestPixel) {
  EXPECT_EQ(fit({1001, 667}, 100, 100), (PixelSize{100, 67}));
  EXPECT_EQ(fit({667, 1001}, 100, 100), (PixelSize{67, 100}));
}

TEST(RenderingSize, CoversWithoutCutting) {
  EXPECT_EQ(fill({4000, 3000}, 256, 256), (PixelSize{341, 256}));
  EXPECT_EQ(fill({3000, 4000}, 256, 256), (PixelSize{256, 341}));
}

TEST(RenderingSize, CutsWhatExceedsTheTargetWhenAsked) {
  EXPECT_EQ(cut({4000, 3000}, 256, 256), (PixelSize{256, 256}));
  EXPECT_EQ(cut({4000, 3000}, 400.4, 100), (PixelSize{400, 100}));
  EXPECT_EQ(cut({4000, 3000}, kUnbounded, 100), (PixelSize{4000, 100}));
}

TEST(RenderingSize, CutsASmallImageWithoutEnlargingIt) {
  EXPECT_EQ(cut({40, 30}, 256, 10), (PixelSize{40, 10}));
  EXPECT_EQ(cut({40, 30}, 256, 256), (PixelSize{40, 30}));
}

TEST(RenderingSize, NeverEnlarges) {
  EXPECT_EQ(fit({40, 30}, 256, 256), (PixelSize{40, 30}));
  EXPECT_EQ(fill({40, 30}, 256, 256), (PixelSize{40, 30}));
  EXPECT_EQ(fill({40, 300}, 256, 256), (PixelSize{40, 300}));
}

TEST(RenderingSize, TakesInfinityForUnconstrained) {
  EXPECT_EQ(fit({4000, 3000}, kUnbounded, 300), (PixelSize{400, 300}));
  EXPECT_EQ(fit({4000, 3000}, 400, kUnbounded), (PixelSize{400, 300}));
  EXPECT_EQ(fit({4000, 3000}, kUnbounded, kUnbounded), (PixelSize{4000, 3000}));
}

TEST(RenderingSize, LeavesNoSideEmpty) {
  EXPECT_EQ(fit({10000, 1}, 100, 100), (PixelSize{100, 1}));
  EXPECT_EQ(fit({4000, 3000}, 0.1, 0.1), (PixelSize{1, 1}));
  EXPECT_EQ(cut({4000, 3000}, 0.1, 0.1), (PixelSize{1, 1}));
}

TEST(RenderingSize, KeepsTheOriginalSizeWhateverTheTarget) {
  const PixelSize size{4000, 3000};
  EXPECT_EQ(renderingSize(request(0, kNaN, RenderRequest::Fit::original), size)->scaled, size);
  EXPECT_EQ(fit(size, -1, -1), size);
  EXPECT_EQ(fill(size, -1, -1), size);
}

TEST(RenderingSize, IsReckonedFromTheWholePicture) {
  RenderRequest asked = request(100, 100, RenderRequest::Fit::fit);
  // As small as it is, the rendering alone would be taken for one of 100 × 57.
  asked.fullWidth = 4000;
  asked.fullHeight = 2259;
  EXPECT_EQ(renderingSize(asked, {512, 290})->scaled, (PixelSize{100, 56}));
  EXPECT_EQ(renderingSize(asked, {50, 28})->scaled, (PixelSize{50, 28})) << "nothing is enlarged";
}

TEST(RenderingSize, RefusesWhatIsNoSize) {
  const auto reason = [](double width, double height) {
    const auto size = renderingSize(request(width, height, RenderRequest::Fit::fit), {10, 10});
    return size ? std::string() : size.error().sentence();
  };
  EXPECT_EQ(reason(0, 0), "The target size 0 × 0 is not valid.");
  EXPECT_EQ(reason(256.5, -1), "The target size 256.5 × -1 is not valid.");
  EXPECT_EQ(reason(-1, 10), "The target size -1 × 10 is not valid.");
  EXPECT_EQ(reason(-kNaN, 10), "The target size nan × 10 is not valid.");
  EXPECT_EQ(reason(kUnbounded, -kUnbounded), "The target size inf × -inf is not valid.");
}

}  // namespace
}  // namespace quorvin
