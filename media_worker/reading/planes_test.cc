#include "media_worker/reading/planes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "testing/media/pictures.h"

namespace quorvin {
namespace {

/// Three planes with their samples.
struct Planes {
  std::array<Bytes, 3> samples;
  std::array<int, 3> strides{};

  Plane plane(std::size_t i) const { return {samples.at(i).data(), strides.at(i)}; }
  std::array<Plane, 3> all() const { return {plane(0), plane(1), plane(2)}; }
};

/// Rows are padded, as decoders pad them.
Planes planes(int width, int height, int chromaWidth, int chromaHeight) {
  constexpr int kPadding = 13;
  Planes made;
  made.strides = {width + kPadding, chromaWidth + kPadding, chromaWidth + kPadding};
  for (std::size_t i = 0; i < 3; ++i) {
    made.samples.at(i).resize(
        static_cast<std::size_t>(made.strides.at(i) * (i == 0 ? height : chromaHeight)));
  }
  return made;
}

Planes yuvPlanes(int width, int height, YuvSampling sampling) {
  const int chromaWidth = sampling == YuvSampling::yuv444 ? width : (width + 1) / 2;
  const int chromaHeight = sampling == YuvSampling::yuv420 ? (height + 1) / 2 : height;
  return planes(width, height, chromaWidth, chromaHeight);
}

Picture converted(const Planes& yuv, int width, int height, YuvSampling sampling,
                  YuvCoding coding) {
  Planes rgb = planes(width, height, width, height);
  std::array<WritablePlane, 3> into;
  for (std::size_t i = 0; i < 3; ++i) into.at(i) = {rgb.samples.at(i).data(), rgb.strides.at(i)};
  EXPECT_TRUE(convertToRgb({yuv.all(), width, height, sampling, coding}, into));
  Picture picture(width, height, 3);
  EXPECT_TRUE(interleaveUpright({rgb.all(), width, height}, 1, picture.pixels.data()));
  return picture;
}

struct Weights {
  double red, blue;
};

Weights weightsOf(YuvMatrix matrix) {
  switch (matrix) {
    case YuvMatrix::bt601:
      return {0.299, 0.114};
    case YuvMatrix::bt709:
      return {0.2126, 0.0722};
    case YuvMatrix::bt2020:
      return {0.2627, 0.0593};
  }
  return {};
}

/// By the definition of the coding.
std::array<int, 3> yuvOf(Colour colour, YuvCoding coding) {
  const auto [red, blue] = weightsOf(coding.matrix);
  const double y = red * colour[0] + (1 - red - blue) * colour[1] + blue * colour[2];
  const double u = (colour[2] - y) / (2 * (1 - blue));
  const double v = (colour[0] - y) / (2 * (1 - red));
  const double light = coding.fullRange ? 1 : 219.0 / 255;
  const double difference = coding.fullRange ? 1 : 224.0 / 255;
  const auto whole = [](double x) { return std::clamp(static_cast<int>(std::lround(x)), 0, 255); };
  return {whole((coding.fullRange ? 0 : 16) + y * light), whole(128 + u * difference),
          whole(128 + v * difference)};
}

using Coding = std::tuple<YuvSampling, YuvMatrix, bool>;
class ConvertToRgb : public testing::TestWithParam<Coding> {};

TEST_P(ConvertToRgb, GivesTheColoursOfTheCoding) {
  const auto [sampling, matrix, fullRange] = GetParam();
  const YuvCoding coding{matrix, fullRange};
  for (const Colour& colour : {kRed, kGreen, kBlue, kWhite, Colour{0, 0, 0, 255},
                               Colour{128, 128, 128, 255}, Colour{200, 100, 50, 255}}) {
    Planes yuv = yuvPlanes(67, 75, sampling);
    const auto values = yuvOf(colour, coding);
    for (std::size_t i = 0; i < 3; ++i) {
      std::ranges::fill(yuv.samples.at(i), static_cast<std::uint8_t>(values.at(i)));
    }
    const Picture picture = converted(yuv, 67, 75, sampling, coding);
    for (const auto& [x, y] : {std::pair(0, 0), std::pair(66, 74), std::pair(33, 32)}) {
      const Colour got = picture.at(x, y);
      EXPECT_TRUE(isNear(got, colour, 3)) << got[0] << ' ' << got[1] << ' ' << got[2] << " for "
                                          << colour[0] << ' ' << colour[1] << ' ' << colour[2];
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Codings, ConvertToRgb,
    testing::Combine(testing::Values(YuvSampling::yuv444, YuvSampling::yuv422, YuvSampling::yuv420),
                     testing::Values(YuvMatrix::bt601, YuvMatrix::bt709, YuvMatrix::bt2020),
                     testing::Bool()));

TEST(ConvertToRgb, InterpolatesColourWithoutSeams) {
  // Differences in colour that grow evenly from row to row give rows that do, too.
  constexpr int kHeight = 200;
  Planes yuv = yuvPlanes(32, kHeight, YuvSampling::yuv420);
  std::ranges::fill(yuv.samples[0], std::uint8_t{128});
  std::ranges::fill(yuv.samples[1], std::uint8_t{128});
  for (int y = 0; y < kHeight / 2; ++y) {
    std::fill_n(yuv.samples[2].begin() + y * yuv.strides[2], 16,
                static_cast<std::uint8_t>(128 + y / 2));
  }
  const Picture picture = converted(yuv, 32, kHeight, YuvSampling::yuv420, {});
  for (int y = 1; y < kHeight; ++y) {
    const int step = picture.at(8, y)[0] - picture.at(8, y - 1)[0];
    EXPECT_GE(step, 0) << y;
    EXPECT_LE(step, 2) << y;
  }
}

TEST(YuvMatrix, IsTakenForTheOldOneWhereNothingIsSaid) {
  EXPECT_EQ(yuvMatrixOf(2), YuvMatrix::bt601);
  EXPECT_EQ(yuvMatrixOf(1), YuvMatrix::bt709);
  EXPECT_EQ(yuvMatrixOf(9), YuvMatrix::bt2020);
  for (const int other : {0, 4, 7, 8, 10, 12, 14, 255}) EXPECT_FALSE(yuvMatrixOf(other)) << other;
}

class InterleaveUpright : public testing::TestWithParam<int> {};

TEST_P(InterleaveUpright, TurnsWhateverTheSize) {
  for (const auto& [width, height] : {std::pair(1, 1), std::pair(70, 33), std::pair(33, 70),
                                      std::pair(100, 64), std::pair(3, 200)}) {
    Picture upright(width, height, 3);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) upright.set(x, y, {x, y, (x * 7 + y * 3) % 256, 255});
    }
    const Picture turned = stored(upright, GetParam());
    Planes rgb = planes(turned.width, turned.height, turned.width, turned.height);
    for (int y = 0; y < turned.height; ++y) {
      for (int x = 0; x < turned.width; ++x) {
        for (std::size_t c = 0; c < 3; ++c) {
          rgb.samples.at(c).at(static_cast<std::size_t>(y * rgb.strides.at(c) + x)) =
              static_cast<std::uint8_t>(turned.at(x, y).at(c));
        }
      }
    }
    Bytes pixels(upright.pixels.size());
    ASSERT_TRUE(
        interleaveUpright({rgb.all(), turned.width, turned.height}, GetParam(), pixels.data()));
    EXPECT_EQ(pixels, upright.pixels) << width << " by " << height;
  }
}

INSTANTIATE_TEST_SUITE_P(Orientations, InterleaveUpright, testing::Range(1, 9));

}  // namespace
}  // namespace quorvin
