#include "media_worker/render/encode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "media_protocol/sealed_memory.h"
#include "media_worker/render/render.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

FileDescriptor sealed(const Picture& picture) {
  FileDescriptor memory = fileOf(picture.pixels);
  EXPECT_TRUE(sealMemoryFile(memory));
  return memory;
}

Bytes encoded(const Picture& picture, ImageFormat format, double quality = 1) {
  const auto result = encodePixels(
      sealed(picture).get(), {format, quality, {picture.width, picture.height, picture.channels}});
  if (!result) {
    ADD_FAILURE() << result.error().sentence();
    return {};
  }
  EXPECT_EQ(sealedMemorySize(result->get()).has_value(), true);
  return contents(*result);
}

bool contains(const Bytes& bytes, std::string_view text) {
  return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
}

/// The marker codes of a JPEG file up to its pixels.
Bytes markers(const Bytes& jpeg) {
  Bytes found;
  std::size_t at = 2;
  while (at + 4 <= jpeg.size() && jpeg[at] == 0xff) {
    found.push_back(jpeg[at + 1]);
    if (jpeg[at + 1] == 0xda) break;
    at += 2 + static_cast<std::size_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
  }
  return found;
}

/// The names of a PNG file's chunks.
std::vector<std::string> chunks(const Bytes& png) {
  std::vector<std::string> found;
  for (std::size_t at = 8; at + 12 <= png.size();) {
    const std::size_t size = static_cast<std::size_t>(png[at]) << 24 |
                             static_cast<std::size_t>(png[at + 1]) << 16 |
                             static_cast<std::size_t>(png[at + 2]) << 8 | png[at + 3];
    found.emplace_back(png.begin() + static_cast<std::ptrdiff_t>(at + 4),
                       png.begin() + static_cast<std::ptrdiff_t>(at + 8));
    at += 12 + size;
  }
  return found;
}

/// Noise, so that quality shows in the size.
Picture noise() {
  Picture picture(128, 96, 3);
  std::uint32_t random = 1;
  for (std::uint8_t& byte : picture.pixels) {
    random = random * 1664525 + 1013904223;
    byte = static_cast<std::uint8_t>(random >> 24);
  }
  return picture;
}

TEST(EncodeJpeg, ShowsThePicture) {
  const Picture picture = rendered(encoded(quadrants(96, 64), ImageFormat::jpeg), original());
  ASSERT_EQ(picture.width, 96);
  ASSERT_EQ(picture.height, 64);
  EXPECT_TRUE(isNear(picture.at(20, 20), kRed, 3));
  EXPECT_TRUE(isNear(picture.at(70, 20), kGreen, 3));
}

TEST(EncodeJpeg, IsBaselineWithoutAnyMetadata) {
  const Bytes file = encoded(quadrants(96, 64), ImageFormat::jpeg);
  const Bytes found = markers(file);
  EXPECT_EQ(std::ranges::count(found, 0xc0), 1);
  for (const std::uint8_t marker : found) {
    // Beyond tables, frame and scan there is the obligatory JFIF header alone.
    EXPECT_TRUE(marker == 0xe0 || marker == 0xdb || marker == 0xc0 || marker == 0xc4 ||
                marker == 0xda)
        << int{marker};
  }
  EXPECT_FALSE(contains(file, "Exif"));
}

TEST(EncodeJpeg, KeepsFullColourResolutionFromQuality90On) {
  const auto sampling = [](double quality) {
    const Bytes file = encoded(noise(), ImageFormat::jpeg, quality);
    const Bytes frame{0xff, 0xc0};
    const auto at = std::search(file.begin(), file.end(), frame.begin(), frame.end());
    return int{*(at + 11)};  // the first component's factors
  };
  EXPECT_EQ(sampling(1), 0x11);
  EXPECT_EQ(sampling(0.9), 0x11);
  EXPECT_EQ(sampling(0.5), 0x22);
}

TEST(EncodeJpeg, GrowsWithQuality) {
  const auto size = [](double quality) {
    return encoded(noise(), ImageFormat::jpeg, quality).size();
  };
  EXPECT_LT(size(0), size(0.5));
  EXPECT_LT(size(0.5), size(0.95));
  EXPECT_LT(size(0.95), size(1));
}

TEST(EncodeJpeg, PutsAlphaOnWhite) {
  Picture picture = filled(64, 64, kClear, 4);
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 64; ++x) picture.set(x, y, {255, 0, 0, 128});
  }
  const Picture shown = rendered(encoded(picture, ImageFormat::jpeg), original());
  ASSERT_EQ(shown.channels, 3);
  EXPECT_TRUE(isNear(shown.at(32, 50), kWhite, 2));
  EXPECT_TRUE(isNear(shown.at(32, 10), {255, 127, 127, 255}, 3));
}

TEST(EncodeJpeg, FailsForSidesThatItCannotHave) {
  const Picture picture = filled(70000, 1, kRed);
  const auto result =
      encodePixels(sealed(picture).get(), {ImageFormat::jpeg, 1, {picture.width, 1, 3}});
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().sentence(), "The picture cannot be encoded.");
}

TEST(EncodePng, KeepsEveryPixel) {
  const Picture opaque = noise();
  EXPECT_EQ(rendered(encoded(opaque, ImageFormat::png), original()).pixels, opaque.pixels);
  Picture clear(64, 48, 4);
  for (int y = 0; y < 48; ++y) {
    for (int x = 0; x < 64; ++x) clear.set(x, y, {x * 4, y * 5, 9, (x * y) % 256});
  }
  EXPECT_EQ(rendered(encoded(clear, ImageFormat::png), original()).pixels, clear.pixels);
}

TEST(EncodePng, KeepsThePixelsOfThinPicturesToo) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 200}, {200, 1}, {3, 2}}) {
    Picture picture(width, height, 3);
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
      picture.pixels[i] = static_cast<std::uint8_t>(i * 37 % 251);
    }
    EXPECT_EQ(rendered(encoded(picture, ImageFormat::png), original()).pixels, picture.pixels)
        << width << " x " << height;
  }
}

TEST(EncodePng, WritesAPictureThatIsTooLargeToPackAtOnce) {
  Picture picture(6'000, 4'000, 3);
  picture.set(5'999, 3'999, {1, 2, 3});
  const Bytes file = encoded(picture, ImageFormat::png);
  EXPECT_EQ(rendered(file, original()).pixels, picture.pixels);
}

TEST(EncodePng, HasEightBitsIsNotInterlacedAndHoldsNoText) {
  const Bytes file = encoded(quadrants(96, 64, 4), ImageFormat::png);
  ASSERT_GT(file.size(), 29U);
  EXPECT_EQ(int{file[24]}, 8);
  EXPECT_EQ(int{file[25]}, 6);
  EXPECT_EQ(int{file[28]}, 0);
  for (const std::string& chunk : chunks(file)) {
    EXPECT_TRUE(chunk == "IHDR" || chunk == "IDAT" || chunk == "IEND" || chunk == "pHYs") << chunk;
  }
}

TEST(Encode, CarriesNoMetadataOfTheSource) {
  const ImagePtr image = vipsImage(quadrants(96, 64));
  vips_image_set_string(image.get(), "exif-ifd0-Make", "SecretMaker (SecretMaker, ASCII, 12, 12)");
  vips_image_set_string(image.get(), "exif-ifd3-GPSLatitude", "1/1 2/1 3/1");
  const std::string xmp = "<x:xmpmeta>SecretPlace</x:xmpmeta>";
  vips_image_set_blob_copy(image.get(), VIPS_META_XMP_NAME, xmp.data(), xmp.size());
  const Bytes source = saved(image.get(), ".jpg");
  ASSERT_TRUE(contains(source, "Secret"));
  const Picture picture = rendered(source, original());
  for (const ImageFormat format : {ImageFormat::jpeg, ImageFormat::png}) {
    EXPECT_FALSE(contains(encoded(picture, format), "Secret"));
  }
}

TEST(Encode, RefusesPixelsThatAreNotAsAnnounced) {
  const Picture picture = quadrants(16, 16);
  const auto refused = [](const FileDescriptor& memory, PixelLayout layout) {
    return !encodePixels(memory.get(), {ImageFormat::png, 1, layout});
  };
  EXPECT_TRUE(refused(sealed(picture), {16, 17, 3}));
  EXPECT_TRUE(refused(sealed(picture), {16, 16, 4}));
  EXPECT_TRUE(refused(fileOf(picture.pixels), {16, 16, 3}));
  EXPECT_FALSE(refused(sealed(picture), {16, 16, 3}));
}

}  // namespace
}  // namespace quorvin
