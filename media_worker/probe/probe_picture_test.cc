#include "media_worker/probe/probe_picture.h"

#include <gtest/gtest.h>

#include "core/platform/photo_library.h"
#include "testing/media/probes.h"

namespace quorvin {
namespace {

struct Saved {
  const char* format;
  const char* identifier;
  const char* extension;
};

class SavedPicture : public testing::TestWithParam<Saved> {};

TEST_P(SavedPicture, IsProbedByItsContentWhateverItsName) {
  const Bytes bytes = savedPicture(GetParam().format, 48, 32);
  for (const char* name : {"picture.mov", "picture.jpg", "noname"}) {
    const MediaProbe probe = probedAs(
        {MediaKind::image, GetParam().identifier, GetParam().extension, 48, 32}, bytes, name);
    EXPECT_EQ(probe.duration, 0);
    EXPECT_FALSE(probe.animated);
    EXPECT_FALSE(probe.raw);
  }
}

INSTANTIATE_TEST_SUITE_P(ProbePixels, SavedPicture,
                         testing::Values(Saved{".jpg", "public.jpeg", "jpg"},
                                         Saved{".jpg[interlace]", "public.jpeg", "jpg"},
                                         Saved{".png", "public.png", "png"},
                                         Saved{".png[interlace]", "public.png", "png"},
                                         Saved{".gif", "com.compuserve.gif", "gif"},
                                         Saved{".webp", "org.webmproject.webp", "webp"},
                                         Saved{".tif", "public.tiff", "tiff"}));

TEST(ProbePixels, ReadsPicturesThatFfmpegAloneDecodes) {
  const char* const kPicture = "-f lavfi -i testsrc=s=48x32 -frames:v 1";
  struct Coded {
    const char* extension;
    const char* identifier;
  };
  for (const Coded& coded : {Coded{"bmp", "com.microsoft.bmp"}, Coded{"jp2", "public.jpeg-2000"}}) {
    probedAs({MediaKind::image, coded.identifier, coded.extension, 48, 32},
             ffmpegOutput(kPicture, coded.extension));
  }
}

class Orientation : public testing::TestWithParam<int> {};

TEST_P(Orientation, TurnsTheSizeOfAPictureUpright) {
  const bool quarter = GetParam() >= 5;
  for (const char* format : {".jpg", ".tif", ".webp"}) {
    const MediaProbe probe = probed(
        withTags(savedPicture(format), {{"Exif.Image.Orientation", std::to_string(GetParam())}}));
    EXPECT_EQ(probe.orientation, GetParam()) << format;
    EXPECT_EQ(probe.pixelWidth, quarter ? 32 : 48) << format;
    EXPECT_EQ(probe.pixelHeight, quarter ? 48 : 32) << format;
  }
}

INSTANTIATE_TEST_SUITE_P(ProbePixels, Orientation, testing::Range(1, 9));

TEST(ProbePixels, TakesAnInvalidOrientationForUpright) {
  for (const char* orientation : {"0", "9", "77"}) {
    const MediaProbe probe =
        probed(withTags(savedPicture(".jpg"), {{"Exif.Image.Orientation", orientation}}));
    EXPECT_EQ(probe.orientation, 1);
    EXPECT_EQ(probe.pixelWidth, 48);
  }
}

TEST(ProbePixels, KnowsAnimationsByTheirFrames) {
  for (const char* extension : {"gif", "webp", "apng"}) {
    const MediaProbe moving =
        probed(ffmpegOutput("-f lavfi -i testsrc=s=48x32:r=5:d=1", extension));
    EXPECT_TRUE(moving.animated) << extension;
    EXPECT_EQ(moving.kind, MediaKind::image) << extension;
    EXPECT_EQ(moving.pixelWidth, 48) << extension;
    EXPECT_EQ(moving.pixelHeight, 32) << extension;
    const MediaProbe single =
        probed(ffmpegOutput("-f lavfi -i testsrc=s=48x32:r=5:d=1 -frames:v 1", extension));
    EXPECT_FALSE(single.animated) << extension;
  }
}

TEST(ProbePixels, ReadsTheFirstPageOfSeveral) {
  const MediaProbe probe =
      probed(concatenated({savedPicture(".tif[pyramid,tile,tile-width=16,"
                                        "tile-height=16]",
                                        64, 48)}));
  EXPECT_EQ(probe.pixelWidth, 64);
  EXPECT_EQ(probe.pixelHeight, 48);
}

TEST(ProbeHeif, ReadsSizeAndType) {
  const MediaProbe probe =
      probedAs({MediaKind::image, "public.heic", "heic", 64, 48}, smallHeic(), "picture.jpg");
  EXPECT_EQ(probe.mediaSubtypes, 0U);
}

class HeicOrientation : public testing::TestWithParam<int> {};

TEST_P(HeicOrientation, IsThatOfTheFilesOwnTurns) {
  const bool quarter = GetParam() >= 5;
  HeifOptions options;
  options.orientation = GetParam();
  const MediaProbe probe = probed(smallHeic(options));
  EXPECT_EQ(probe.orientation, GetParam());
  EXPECT_EQ(probe.pixelWidth, quarter ? 48 : 64);
  EXPECT_EQ(probe.pixelHeight, quarter ? 64 : 48);
}

INSTANTIATE_TEST_SUITE_P(ProbeHeif, HeicOrientation, testing::Range(1, 9));

/// The Exif block of a JPEG with these tags.
Bytes exifBlock(const Tags& tags) {
  Exiv2::ExifData exif;
  for (const auto& [key, value] : tags) exif[key] = value;
  Exiv2::Blob blob;
  Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, exif);
  return {blob.begin(), blob.end()};
}

TEST(ProbeHeif, ReadsExifButNotItsOrientation) {
  HeifOptions options;
  options.exif = exifBlock({{"Exif.Image.Orientation", "6"},
                            {"Exif.Photo.DateTimeOriginal", "2017:05:01 12:34:56"},
                            {"Exif.Photo.OffsetTimeOriginal", "+02:00"},
                            {"Exif.Photo.LensModel", "front camera"}});
  const MediaProbe probe = probed(smallHeic(options));
  EXPECT_EQ(probe.orientation, 1);
  EXPECT_EQ(probe.pixelWidth, 64);
  EXPECT_EQ(probe.creationDate, utc("2017-05-01T10:34:56Z"));
  EXPECT_TRUE(probe.frontCamera);
}

TEST(ProbeHeif, ReadsXmp) {
  HeifOptions options;
  options.xmp = xmpPacket(
      "xmlns:GCamera=\"http://ns.google.com/photos/1.0/camera/\" GCamera:BurstID=\"A1-7\" "
      "GCamera:BurstPrimary=\"1\">");
  const MediaProbe probe = probed(smallHeic(options));
  EXPECT_EQ(probe.burstIdentifier, "A1-7");
  EXPECT_TRUE(probe.burstPrimary);
}

TEST(ProbeHeif, ReadsSomeBlocksAndNotHundreds) {
  HeifOptions options;
  options.exif = exifBlock({{"Exif.Photo.LensModel", "front camera"}});
  options.xmp = xmpPacket(
      "xmlns:GCamera=\"http://ns.google.com/photos/1.0/camera/\" GCamera:BurstID=\"A1-7\">");
  options.exifCopies = 10;
  EXPECT_EQ(probed(smallHeic(options)).burstIdentifier, "A1-7");
  options.exifCopies = 100;
  const MediaProbe probe = probed(smallHeic(options));
  EXPECT_TRUE(probe.frontCamera);
  EXPECT_EQ(probe.burstIdentifier, "");
}

TEST(ProbeHeif, AcceptsAPictureWithAThumbnail) {
  HeifOptions options;
  options.thumbnailSize = 32;
  const MediaProbe probe = probed(smallHeic(options));
  EXPECT_EQ(probe.pixelWidth, 64);
}

TEST(ProbeHeif, KnowsDepthAndGainMapsByTheirItems) {
  const auto subtypes = [](const std::string& type) {
    return probed(heicWithAuxiliary(gradient(64, 64), type)).mediaSubtypes;
  };
  EXPECT_EQ(subtypes("urn:mpeg:hevc:2015:auxid:2"), PHAssetMediaSubtype::photoDepthEffect);
  EXPECT_EQ(subtypes("urn:example:auxiliary:hdrgainmap"), PHAssetMediaSubtype::photoHDR);
  EXPECT_EQ(subtypes("urn:example:auxiliary:skinmatte"), 0U);
}

TEST(ProbeHeif, RefusesAFileThatIsCutShort) {
  const Bytes whole = smallHeic();
  EXPECT_EQ(refusal(firstBytes(whole, whole.size() - 1)),
            "The photo is damaged: the file is cut short.");
}

}  // namespace
}  // namespace quorvin
