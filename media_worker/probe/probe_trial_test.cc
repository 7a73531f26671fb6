// Whether a picture decodes is tried by its own pixels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

#include "testing/media/probes.h"

namespace quorvin {
namespace {

constexpr const char* kDamaged = "The photo is damaged: it cannot be decoded.";

Picture fullOfDetail() {
  return gradient(256, 192);
}

/// Where the pixels of a HEIC file begin.
std::size_t pixelsOf(const Bytes& heic) {
  constexpr std::string_view kBox = "mdat";
  const auto box = std::search(heic.begin(), heic.end(), kBox.begin(), kBox.end());
  return static_cast<std::size_t>(box - heic.begin()) + kBox.size();
}

/// The file with noise in place of a part of its pixels, from 0 to 1.
Bytes overwritten(Bytes heic, double from, double to) {
  const std::size_t begin = pixelsOf(heic);
  const auto count = static_cast<double>(heic.size() - begin);
  std::mt19937 random(20261122);
  for (auto i = static_cast<std::size_t>(count * from); i < static_cast<std::size_t>(count * to);
       ++i) {
    heic[begin + i] = static_cast<std::uint8_t>(random());
  }
  return heic;
}

TEST(ProbeTrial, RefusesAHeicWhosePixelsAreOverwritten) {
  const Bytes whole = heif(fullOfDetail());
  EXPECT_EQ(refusal(whole), "");
  EXPECT_EQ(refusal(overwritten(whole, 0, 0.9)), kDamaged);
}

TEST(ProbeTrial, DoesNotTakeAPreviewForThePicture) {
  HeifOptions options;
  options.thumbnailSize = 64;
  options.thumbnail = filled(128, 96, kRed);
  const Bytes whole = heif(fullOfDetail(), options);
  EXPECT_EQ(refusal(whole), "");
  // The preview of one colour stands in the last few bytes.
  EXPECT_EQ(refusal(overwritten(whole, 0, 0.8)), kDamaged);
}

TEST(ProbeTrial, TriesTheFirstAMiddleAndTheLastTile) {
  // Sixteen tiles, which noise makes about as long as each other.
  Picture noise(256, 256, 3);
  std::mt19937 random(1);
  for (std::uint8_t& value : noise.pixels) value = static_cast<std::uint8_t>(random());
  const Bytes whole = tiledHeic(noise, 64);
  EXPECT_EQ(refusal(whole), "");
  // What tells of the tiles stands before the first.
  EXPECT_TRUE(refusal(overwritten(whole, 0, 0.05)).starts_with("The photo is damaged: "));
  EXPECT_EQ(refusal(overwritten(whole, 0.48, 0.58)), kDamaged);
  EXPECT_EQ(refusal(overwritten(whole, 0.92, 0.99)), kDamaged);
}

TEST(ProbeTrial, RefusesATelephonesPictureOfWhichATenthIsLeft) {
  const char* const folder = std::getenv("QUORVIN_TEST_MEDIA");
  if (folder == nullptr) GTEST_SKIP() << "QUORVIN_TEST_MEDIA names no folder";
  std::ifstream file(std::string(folder) + "/phone_12mp.HEIC", std::ios::binary);
  const Bytes whole{std::istreambuf_iterator<char>(file), {}};
  ASSERT_FALSE(whole.empty());
  EXPECT_EQ(refusal(whole), "");
  EXPECT_EQ(refusal(overwritten(whole, 0.1, 1)), kDamaged);
  EXPECT_EQ(refusal(overwritten(whole, 0, 0.9)), kDamaged);
}

class CutJpeg : public testing::TestWithParam<const char*> {};

TEST_P(CutJpeg, IsAPhotoAsLongAsItsFirstRowsAreThere) {
  const Bytes whole = saved(fullOfDetail(), GetParam());
  const std::string_view start = "\xff\xda";
  const auto pixels = static_cast<std::size_t>(
      std::search(whole.begin(), whole.end(), start.begin(), start.end(),
                  [](std::uint8_t a, char b) { return a == static_cast<std::uint8_t>(b); }) -
      whole.begin());
  EXPECT_EQ(probed(firstBytes(whole, whole.size() / 2)).pixelWidth, 256);
  EXPECT_EQ(probed(firstBytes(whole, whole.size() - 2)).pixelWidth, 256);
  EXPECT_EQ(refusal(firstBytes(whole, pixels + 16)),
            "The photo is damaged: its first rows cannot be decoded.");
}

INSTANTIATE_TEST_SUITE_P(ProbeTrial, CutJpeg, testing::Values(".jpg", ".jpg[interlace]"));

}  // namespace
}  // namespace quorvin
