// Pictures decoded whole and encoded again: what a conversion to JPEG or PNG does.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "media_worker/reading/wanted_loaders.h"
#include "testing/media/heif_pictures.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

/// The picture as it stands in a file; no image when that cannot be read.
struct StoredPicture {
  explicit StoredPicture(const Bytes& bytes) : file(fileOf(bytes)) {
    const auto input = InputFile::open(file.get());
    if (!input) return;
    source = sourceOf(*input);
    image = openPicture(source.get(), pictureSignature(bytes).format, VIPS_FAIL_ON_ERROR);
  }
  FileDescriptor file;
  SourcePtr source;
  ImagePtr image;
};

Bytes profileOf(const Bytes& file) {
  const StoredPicture opened(file);
  const ImagePtr& image = opened.image;
  const void* profile = nullptr;
  std::size_t size = 0;
  if (!image || vips_image_get_typeof(image.get(), VIPS_META_ICC_NAME) == 0 ||
      vips_image_get_blob(image.get(), VIPS_META_ICC_NAME, &profile, &size) != 0) {
    return {};
  }
  const auto* begin = static_cast<const std::uint8_t*>(profile);
  return {begin, begin + size};
}

/// The pixels as stored, whatever their profile says.
Picture storedPixels(const Bytes& file) {
  const StoredPicture opened(file);
  const ImagePtr& image = opened.image;
  if (!image) return {};
  Picture picture(image->Xsize, image->Ysize, image->Bands);
  std::size_t size = 0;
  void* pixels = vips_image_write_to_memory(image.get(), &size);
  EXPECT_EQ(size, picture.pixels.size());
  std::copy_n(static_cast<const std::uint8_t*>(pixels), size, picture.pixels.begin());
  g_free(pixels);
  return picture;
}

struct Format {
  const char* name;
  Bytes (*make)(const Picture&);
};

const Format kFormats[] = {
    {"heic", [](const Picture& p) { return heif(p); }},
    {"avif", [](const Picture& p) { return heif(p, {.avif = true}); }},
    {"jpeg", [](const Picture& p) { return saved(p, ".jpg[Q=98,subsample_mode=off]"); }},
    {"png", [](const Picture& p) { return saved(p, ".png"); }},
    {"webp", [](const Picture& p) { return saved(p, ".webp[lossless]"); }},
    {"gif", [](const Picture& p) { return saved(p, ".gif"); }},
    {"tiff", [](const Picture& p) { return saved(p, ".tif"); }},
};

class Convert : public testing::TestWithParam<Format> {};

TEST_P(Convert, ShowsThePicture) {
  const Bytes file = GetParam().make(quadrants(96, 64));
  for (const ImageFormat format : {ImageFormat::jpeg, ImageFormat::png}) {
    const Picture picture = storedPixels(conversion(file, format));
    ASSERT_EQ(picture.width, 96);
    ASSERT_EQ(picture.height, 64);
    ASSERT_GE(picture.channels, 3);
    EXPECT_TRUE(isNear(picture.at(20, 15), kRed, 12));
    EXPECT_TRUE(isNear(picture.at(70, 15), kGreen, 12));
    EXPECT_TRUE(isNear(picture.at(20, 50), kBlue, 12));
    EXPECT_TRUE(isNear(picture.at(70, 50), kWhite, 12));
  }
}

TEST_P(Convert, FailsWhenTheFileIsCutShort) {
  const Bytes whole = GetParam().make(gradient(320, 240));
  ASSERT_FALSE(conversion(whole, ImageFormat::jpeg).empty());
  for (const double part : {0.1, 0.5, 0.9}) {
    const auto size = static_cast<std::ptrdiff_t>(static_cast<double>(whole.size()) * part);
    std::string reason;
    EXPECT_TRUE(
        conversion(Bytes(whole.begin(), whole.begin() + size), ImageFormat::jpeg, &reason).empty())
        << part;
    EXPECT_FALSE(reason.empty());
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, Convert, testing::ValuesIn(kFormats),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ConvertProfile, StaysWithItsPixels) {
  const Picture picture = filled(32, 32, {100, 150, 200, 255});
  const Bytes profile = wideProfile();
  const Bytes files[] = {withProfile(picture, profile, ".jpg[Q=100]"),
                         withProfile(picture, profile, ".png"),
                         withProfile(picture, profile, ".tif"),
                         withProfile(picture, profile, ".webp[lossless]"),
                         heif(picture, {.profile = profile}),
                         heif(picture, {.avif = true, .profile = profile})};
  for (const Bytes& file : files) {
    for (const ImageFormat format : {ImageFormat::jpeg, ImageFormat::png}) {
      const Bytes made = conversion(file, format);
      EXPECT_EQ(profileOf(made), profile);
      EXPECT_TRUE(isNear(storedPixels(made).at(16, 16), {100, 150, 200, 255}, 3));
      // And so it looks as the file did.
      const Colour seen = rendered(file, original()).at(16, 16);
      EXPECT_TRUE(isNear(rendered(made, original()).at(16, 16), seen, 3));
    }
  }
}

TEST(ConvertProfile, StaysWithAlpha) {
  const Bytes file = withProfile(filled(32, 32, {100, 150, 200, 128}, 4), wideProfile(), ".png");
  const Bytes png = conversion(file, ImageFormat::png);
  EXPECT_EQ(profileOf(png), wideProfile());
  EXPECT_EQ(storedPixels(png).at(16, 16), (Colour{100, 150, 200, 128}));
  const Bytes jpeg = conversion(file, ImageFormat::jpeg);
  EXPECT_EQ(profileOf(jpeg), wideProfile());
  EXPECT_TRUE(isNear(storedPixels(jpeg).at(16, 16), {177, 202, 227, 255}, 2));
}

TEST(ConvertProfile, IsLeftOutWhenItIsUnusable) {
  const Picture picture = quadrants(32, 32);
  EXPECT_EQ(profileOf(conversion(withProfile(picture, Bytes(200, 7), ".png"), ImageFormat::jpeg)),
            Bytes());
}

TEST(ConvertProfile, IsLeftOutWhenPixelsCannotStayInIt) {
  ImagePtr image = vipsImage(quadrants(64, 64));
  ASSERT_TRUE(apply(image, [](VipsImage* in, VipsImage** out) {
    return vips_colourspace(in, out, VIPS_INTERPRETATION_RGB16, nullptr);
  }));
  const Bytes profile = wideProfile();
  vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, profile.data(), profile.size());
  const Bytes made = conversion(saved(image.get(), ".png"), ImageFormat::jpeg);
  EXPECT_EQ(profileOf(made), Bytes());
  EXPECT_EQ(storedPixels(made).width, 64);
}

TEST(ConvertNothing, Fails) {
  for (const Bytes& file : {Bytes(), Bytes{0}, Bytes(5000, 0x5a)}) {
    std::string reason;
    EXPECT_TRUE(conversion(file, ImageFormat::jpeg, &reason).empty());
    EXPECT_FALSE(reason.empty());
  }
}

}  // namespace
}  // namespace quorvin
