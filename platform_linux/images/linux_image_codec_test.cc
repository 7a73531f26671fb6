#include "platform_linux/images/linux_image_codec.h"

#include <gtest/gtest.h>

#include <cmath>

#include "testing/platform/testing_images.h"

namespace quorvin {
namespace {

ByteBuffer bytesOf(std::string_view text) {
  return ByteBuffer(std::vector<std::uint8_t>(text.begin(), text.end()));
}

TEST(LinuxImageCodec, DecodesDataAtItsSizeAndInsistsOnTheWholePicture) {
  ScriptedMedia media;
  LinuxImageCodec codec(media);
  const auto image = codec.imageWithData(bytesOf("picture"));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->width(), 8);
  EXPECT_EQ(image->height(), 6);
  const auto renderings = media.renderings();
  ASSERT_EQ(renderings.size(), 1U);
  EXPECT_EQ(renderings[0].fileText, "picture");
  EXPECT_EQ(renderings[0].request.kind, MediaKind::image);
  EXPECT_EQ(renderings[0].request.fit, RenderRequest::Fit::original);
  EXPECT_TRUE(renderings[0].request.failOnDamage);
  EXPECT_TRUE(renderings[0].request.keepProfile);
}

TEST(LinuxImageCodec, DecodesDataThatDoesNotDecodeToNone) {
  ScriptedMedia media;
  media.onRender = [](const RenderRequest&) { return Failure{}; };
  EXPECT_EQ(LinuxImageCodec(media).imageWithData(bytesOf("")), nullptr);
  EXPECT_EQ(LinuxImageCodec(media).imageWithData(bytesOf("text")), nullptr);
}

TEST(LinuxImageCodec, EncodesInTheFormatAskedFor) {
  ScriptedMedia media;
  ImageFormat askedFormat{};
  double askedQuality = -1;
  media.onEncode = [&](ImageFormat format, double quality) {
    askedFormat = format;
    askedQuality = quality;
    return bytesOf("encoded");
  };
  LinuxImageCodec codec(media);
  EXPECT_EQ(codec.UIImageJPEGRepresentation(*imageOf(2, 2), 0.75), bytesOf("encoded"));
  EXPECT_EQ(askedFormat, ImageFormat::jpeg);
  EXPECT_EQ(askedQuality, 0.75);
  EXPECT_EQ(codec.UIImagePNGRepresentation(*imageOf(2, 2)), bytesOf("encoded"));
  EXPECT_EQ(askedFormat, ImageFormat::png);
}

TEST(LinuxImageCodec, KeepsTheQualityBetweenZeroAndOne) {
  ScriptedMedia media;
  std::vector<double> asked;
  media.onEncode = [&asked](ImageFormat, double quality) {
    asked.push_back(quality);
    return bytesOf("encoded");
  };
  LinuxImageCodec codec(media);
  for (const double quality : {-0.5, 0.0, 1.0, 1.5, std::nan("")}) {
    codec.UIImageJPEGRepresentation(*imageOf(2, 2), quality);
  }
  EXPECT_EQ(asked, (std::vector<double>{0, 0, 1, 1, 0}));
}

TEST(LinuxImageCodec, EncodesToNoneWhatFailsOrIsNotItsOwn) {
  struct Foreign final : UIImage {
    std::int64_t width() const override { return 1; }
    std::int64_t height() const override { return 1; }
  };
  ScriptedMedia media;
  LinuxImageCodec codec(media);
  EXPECT_EQ(codec.UIImageJPEGRepresentation(Foreign(), 1), std::nullopt);
  EXPECT_EQ(codec.UIImagePNGRepresentation(Foreign()), std::nullopt);
  media.onEncode = [](ImageFormat, double) { return Failure{}; };
  EXPECT_EQ(codec.UIImageJPEGRepresentation(*imageOf(2, 2), 1), std::nullopt);
  EXPECT_EQ(codec.UIImagePNGRepresentation(*imageOf(2, 2)), std::nullopt);
}

}  // namespace
}  // namespace quorvin
