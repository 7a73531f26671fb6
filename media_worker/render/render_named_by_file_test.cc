// What a picture's file says, beside its pixels, of how it is to be shown.
#include <gtest/gtest.h>
#include <lcms2.h>
#include <zlib.h>

#include <tuple>

#include "testing/media/probes.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

/// The PNG with an orientation in a chunk of Exif, as editors write it: before the pixels, or
/// behind them.
Bytes withExifChunk(const Bytes& png, int orientation, bool behind) {
  Bytes chunk{'e',  'X', 'I', 'f', 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1, 1,
              0x12, 0,   3,   0,   0,   0,   1, 0,  0, 0, 0, 0, 0, 0, 0};
  chunk[4 + 19] = static_cast<std::uint8_t>(orientation);
  const auto append = [](Bytes& bytes, std::size_t number) {
    for (const int shift : {24, 16, 8, 0}) {
      bytes.push_back(static_cast<std::uint8_t>(number >> shift));
    }
  };
  constexpr std::ptrdiff_t kSignatureAndHeader = 33;
  constexpr std::ptrdiff_t kEnd = 12;
  const auto place = behind ? png.end() - kEnd : png.begin() + kSignatureAndHeader;
  Bytes file(png.begin(), place);
  append(file, chunk.size() - 4);
  file.insert(file.end(), chunk.begin(), chunk.end());
  append(file, crc32(0, chunk.data(), static_cast<unsigned>(chunk.size())));
  file.insert(file.end(), place, png.end());
  return file;
}

struct Place {
  const char* name;
  Bytes (*add)(const Bytes& png, int orientation);
};

const Place kPlaces[] = {
    {"exifBefore",
     [](const Bytes& png, int orientation) { return withExifChunk(png, orientation, false); }},
    {"exifBehind",
     [](const Bytes& png, int orientation) { return withExifChunk(png, orientation, true); }},
    {"exifAsText",
     [](const Bytes& png, int orientation) {
       return withTags(png, {{"Exif.Image.Orientation", std::to_string(orientation)}});
     }},
    {"xmp",
     [](const Bytes& png, int orientation) {
       return withTags(png, {}, {{"Xmp.tiff.Orientation", std::to_string(orientation)}});
     }},
};

class RenderTurnedPng : public testing::TestWithParam<std::tuple<Place, int>> {};

TEST_P(RenderTurnedPng, StandsUpright) {
  const auto& [place, orientation] = GetParam();
  // Newer versions of libvips would write a turn of their own.
  const Bytes plain = saved(stored(quadrants(96, 64), orientation), ".png[strip]");
  const Bytes file = place.add(plain, orientation);
  for (const RenderRequest& request : {original(), fitInto(48, 48)}) {
    const Picture picture = rendered(file, request);
    ASSERT_EQ(picture.width * 64, picture.height * 96);
    expectQuadrants(picture, 12);
  }
  const MediaProbe probe = probed(file);
  EXPECT_EQ(probe.orientation, orientation);
  EXPECT_EQ(probe.pixelWidth, 96);
  EXPECT_EQ(probe.pixelHeight, 64);
}

INSTANTIATE_TEST_SUITE_P(Orientations, RenderTurnedPng,
                         testing::Combine(testing::ValuesIn(kPlaces), testing::Range(1, 9)),
                         [](const auto& info) {
                           return std::get<0>(info.param).name +
                                  std::to_string(std::get<1>(info.param));
                         });

class ExifColours : public testing::TestWithParam<const char*> {};

TEST_P(ExifColours, TellAdobeRgbWhereThereIsNoProfile) {
  const Picture picture = filled(64, 64, {100, 150, 200, 255});
  const Bytes plain = saved(picture, GetParam());
  const Tags uncalibrated = {{"Exif.Photo.ColorSpace", "65535"}};
  Tags adobe = uncalibrated;
  adobe.emplace_back("Exif.Iop.InteroperabilityIndex", "R03");
  // By the definition of the colour space.
  const Colour expected{66, 151, 203, 255};
  for (const RenderRequest& request : {original(), fitInto(20, 20)}) {
    const Picture seen = rendered(withTags(plain, adobe), request);
    EXPECT_TRUE(isNear(seen.at(10, 10), expected, 4)) << seen.at(10, 10)[0];
    EXPECT_TRUE(isNear(rendered(withTags(plain, uncalibrated), request).at(10, 10),
                       {100, 150, 200, 255}, 4));
  }
}

TEST(ExifColoursOfProfiles, AreNotBelievedAgainstAProfile) {
  const Picture picture = filled(64, 64, {100, 150, 200, 255});
  cmsHPROFILE srgb = cmsCreate_sRGBProfile();
  cmsUInt32Number size = 0;
  cmsSaveProfileToMem(srgb, nullptr, &size);
  Bytes profile(size);
  cmsSaveProfileToMem(srgb, profile.data(), &size);
  cmsCloseProfile(srgb);
  const Bytes file =
      withTags(withProfile(picture, profile, ".jpg[Q=95]"),
               {{"Exif.Photo.ColorSpace", "65535"}, {"Exif.Iop.InteroperabilityIndex", "R03"}});
  EXPECT_TRUE(isNear(rendered(file, original()).at(10, 10), {100, 150, 200, 255}, 4));
}

INSTANTIATE_TEST_SUITE_P(Formats, ExifColours, testing::Values(".jpg[Q=95]", ".webp[Q=98]"));

struct PreviewCase {
  const char* name;
  const char* changed = "2017:05:01 12:34:56";  ///< when a program last wrote the photo
  int pixels = 600;                             ///< that Exif says it is wide
  int previewHeight = 120;
  double asked = 100;
  bool isUsed = false;
};

class ExifPreviewOf : public testing::TestWithParam<PreviewCase> {};

TEST_P(ExifPreviewOf, StandsForThePictureOnlyWhereItShowsTheSame) {
  // One colour tells which of both is seen.
  const Bytes photo =
      withExifPreview(withTags(saved(filled(600, 450, kBlue), ".jpg[Q=95]"),
                               {{"Exif.Photo.DateTimeOriginal", "2017:05:01 12:34:56"},
                                {"Exif.Image.DateTime", GetParam().changed},
                                {"Exif.Photo.PixelXDimension", std::to_string(GetParam().pixels)},
                                {"Exif.Photo.PixelYDimension", "450"}}),
                      saved(filled(160, GetParam().previewHeight, kRed), ".jpg[Q=95]"));
  const Picture seen = rendered(photo, fitInto(GetParam().asked, GetParam().asked));
  ASSERT_EQ(seen.width, static_cast<int>(GetParam().asked));
  EXPECT_TRUE(isNear(seen.at(20, 20), GetParam().isUsed ? kRed : kBlue, 8));
}

INSTANTIATE_TEST_SUITE_P(
    Photos, ExifPreviewOf,
    testing::Values(PreviewCase{.name = "asTaken", .isUsed = true},
                    PreviewCase{.name = "asLargeAsThePreview", .asked = 160, .isUsed = true},
                    PreviewCase{.name = "largerThanThePreview", .asked = 200},
                    PreviewCase{.name = "changedLater", .changed = "2018:05:01 12:34:56"},
                    PreviewCase{.name = "ofAnotherSize", .pixels = 800},
                    PreviewCase{.name = "previewOfAnotherCut", .previewHeight = 90}),
    [](const auto& info) { return info.param.name; });

TEST(ExifPreviewOfTurnedPhoto, IsTurnedAndColouredAsThePictureIs) {
  const Bytes photo = withExifPreview(
      withTags(withProfile(stored(quadrants(450, 600), 6), wideProfile(), ".jpg[Q=95]"),
               {{"Exif.Photo.DateTimeOriginal", "2017:05:01 12:34:56"},
                {"Exif.Image.DateTime", "2017:05:01 12:34:56"},
                {"Exif.Image.Orientation", "6"},
                {"Exif.Photo.PixelXDimension", "600"},
                {"Exif.Photo.PixelYDimension", "450"}}),
      saved(stored(filled(90, 120, {100, 150, 200, 255}), 6), ".jpg[Q=95]"));
  RenderRequest request = fitInto(60, 80);
  request.previewAlone = true;
  const Picture seen = rendered(photo, request);
  ASSERT_EQ(seen.width, 60);
  ASSERT_EQ(seen.height, 80);
  EXPECT_TRUE(isNear(seen.at(30, 40), {66, 151, 203, 255}, 5));
}

TEST(PreviewAlone, IsMadeOfAPreviewOrNotAtAll) {
  RenderRequest request = fitInto(120, 120);
  request.previewAlone = true;
  HeifOptions options;
  options.thumbnailSize = 160;
  options.thumbnail = filled(320, 240, kRed);
  const Picture blue = filled(640, 480, kBlue);
  const Picture seen = rendered(heif(blue, options), request);
  ASSERT_EQ(seen.width, 120);
  EXPECT_TRUE(isNear(seen.at(20, 20), kRed, 12));
  for (const Bytes& file : {heif(blue), saved(blue, ".jpg"), saved(blue, ".png"),
                            ffmpegOutput("-f lavfi -i testsrc=s=64x48 -frames:v 1", "bmp")}) {
    std::string reason;
    EXPECT_EQ(rendered(file, request, &reason).width, 0);
    EXPECT_EQ(reason, "The picture holds no preview that serves.");
  }
}

TEST(WideFilm, IsShownInSrgb) {
  const Bytes film = ffmpegOutput(
      "-f lavfi -i color=0x6496C8:s=64x64:r=5:d=1,format=gbrp,scale=out_color_matrix=bt709:"
      "out_range=tv,format=yuv420p,setparams=color_primaries=smpte432:color_trc=iec61966-2-1:"
      "colorspace=bt709:range=tv -c:v libx264 -qp 0 -color_primaries smpte432"
      " -color_trc iec61966-2-1 -colorspace bt709 -color_range tv",
      "mov");
  RenderRequest request = original();
  request.kind = MediaKind::video;
  const Colour seen = rendered(film, request).at(32, 32);
  EXPECT_TRUE(isNear(seen, {83, 152, 205, 255}, 4)) << seen[0] << ' ' << seen[1] << ' ' << seen[2];
}

}  // namespace
}  // namespace quorvin
