// Metadata of stills, through the probes of pictures that carry it.
#include "media_worker/metadata/metadata.h"

#include <gtest/gtest.h>

#include <ctime>

#include "core/platform/photo_library.h"
#include "testing/media/probes.h"

namespace quorvin {
namespace {

const Bytes& plainJpeg() {
  static const Bytes bytes = savedPicture(".jpg");
  return bytes;
}

MediaProbe tagged(const Tags& exif, const Tags& xmp = {}) {
  return probed(withTags(plainJpeg(), exif, xmp));
}

std::optional<std::int64_t> dateOf(const Tags& exif, const Tags& xmp = {}) {
  return tagged(exif, xmp).creationDate;
}

const Tags kOriginal = {{"Exif.Photo.DateTimeOriginal", "2017:05:01 12:34:56"},
                        {"Exif.Photo.SubSecTimeOriginal", "050"},
                        {"Exif.Photo.OffsetTimeOriginal", "+02:00"}};
const Tags kDigitized = {{"Exif.Photo.DateTimeDigitized", "2018:06:02 01:02:03"},
                         {"Exif.Photo.SubSecTimeDigitized", "5"},
                         {"Exif.Photo.OffsetTimeDigitized", "-05:30"}};

Tags both(Tags first, const Tags& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(CreationDate, IsTheOriginalDateWithItsFractionAndOffset) {
  EXPECT_EQ(dateOf(both(kOriginal, kDigitized)), utc("2017-05-01T10:34:56.05Z"));
}

TEST(CreationDate, IsTheDigitizedDateElse) {
  EXPECT_EQ(dateOf(kDigitized), utc("2018-06-02T06:32:03.5Z"));
}

TEST(CreationDate, SkipsInvalidDates) {
  for (const char* text :
       {"0000:00:00 00:00:00", "    :  :     :  :  ", "2017:13:01 12:34:56", "2017:05:01"}) {
    EXPECT_EQ(dateOf(both(kDigitized, {{"Exif.Photo.DateTimeOriginal", text}})),
              utc("2018-06-02T06:32:03.5Z"))
        << text;
  }
}

TEST(CreationDate, IgnoresTheDateOfTheLastChange) {
  EXPECT_FALSE(dateOf({{"Exif.Image.DateTime", "2017:05:01 12:34:56"}}));
}

TEST(CreationDate, ComesFromXmpElse) {
  const Tags create = {{"Xmp.xmp.CreateDate", "2015-01-01T00:00:00Z"}};
  const Tags original = both(create, {{"Xmp.exif.DateTimeOriginal", "2016-01-01T00:00:00Z"}});
  const Tags shop = both(original, {{"Xmp.photoshop.DateCreated", "2017-01-01T01:00:00+01:00"}});
  EXPECT_EQ(dateOf({}, create), utc("2015-01-01T00:00:00Z"));
  EXPECT_EQ(dateOf({}, original), utc("2016-01-01T00:00:00Z"));
  EXPECT_EQ(dateOf({}, shop), utc("2017-01-01T00:00:00Z"));
  EXPECT_EQ(dateOf(kDigitized, shop), utc("2018-06-02T06:32:03.5Z"));
}

TEST(CreationDate, GetsItsOffsetFromTheGpsClock) {
  const Tags tags = {{"Exif.Photo.DateTimeOriginal", "2017:05:01 01:34:56"},
                     {"Exif.GPSInfo.GPSDateStamp", "2017:04:30"},
                     {"Exif.GPSInfo.GPSTimeStamp", "20/1 4/1 3012/100"}};
  EXPECT_EQ(dateOf(tags), utc("2017-04-30T20:04:56Z"));
  // A written offset counts more than a computed one.
  EXPECT_EQ(dateOf(both(tags, {{"Exif.Photo.OffsetTimeOriginal", "+02:00"}})),
            utc("2017-04-30T23:34:56Z"));
}

TEST(CreationDate, IgnoresAGpsClockThatIsTooFarAwayOrBroken) {
  const Tags shot = {{"Exif.Photo.DateTimeOriginal", "2017:05:01 12:34:56"}};
  const auto local = dateOf(shot);
  ASSERT_TRUE(local);
  EXPECT_EQ(dateOf(both(shot, {{"Exif.GPSInfo.GPSDateStamp", "2016:01:01"},
                               {"Exif.GPSInfo.GPSTimeStamp", "20/1 4/1 30/1"}})),
            local);
  EXPECT_EQ(dateOf(both(shot, {{"Exif.GPSInfo.GPSDateStamp", "2017:05:01"},
                               {"Exif.GPSInfo.GPSTimeStamp", "20/0 4/0 30/0"}})),
            local);
  EXPECT_EQ(dateOf(both(shot, {{"Exif.GPSInfo.GPSDateStamp", "2017:05:01"}})), local);
}

TEST(CreationDate, IsReadInTheMachinesZoneWithoutAnOffset) {
  std::tm local{};
  local.tm_year = 117;
  local.tm_mon = 6;
  local.tm_mday = 1;
  local.tm_hour = 12;
  local.tm_isdst = -1;
  EXPECT_EQ(dateOf({{"Exif.Photo.DateTimeOriginal", "2017:07:01 12:00:00"}}),
            std::mktime(&local) * std::int64_t{1'000'000'000});
}

TEST(CreationDate, MayLieBefore1970) {
  EXPECT_EQ(dateOf({{"Exif.Photo.DateTimeOriginal", "1955:11:05 06:00:00"},
                    {"Exif.Photo.SubSecTimeOriginal", "25"},
                    {"Exif.Photo.OffsetTimeOriginal", "-08:00"}}),
            utc("1955-11-05T14:00:00.25Z"));
}

TEST(CreationDate, IsReadFromPngAndWebpToo) {
  for (const char* format : {".png", ".webp"}) {
    EXPECT_EQ(probed(withTags(savedPicture(format), kOriginal)).creationDate,
              utc("2017-05-01T10:34:56.05Z"))
        << format;
  }
}

TEST(CreationDate, IsAbsentWithoutMetadata) {
  EXPECT_FALSE(probed(plainJpeg()).creationDate);
  EXPECT_FALSE(probed(savedPicture(".gif")).creationDate);
}

TEST(Identifiers, ComeFromTheMakerNote) {
  const MediaProbe probe = probed(
      withMakerNote(plainJpeg(), makerNote({{0x000b, 2, "burst", 0}, {0x0011, 2, "content", 0}})));
  EXPECT_EQ(probe.contentIdentifier, "content");
  EXPECT_EQ(probe.burstIdentifier, "burst");
  EXPECT_FALSE(probe.burstPrimary);
}

constexpr const char* kCamera = "xmlns:GCamera=\"http://ns.google.com/photos/1.0/camera/\" ";

TEST(Identifiers, OfABurstComeFromXmpFirst) {
  const Bytes noted = withMakerNote(plainJpeg(), makerNote({{0x000b, 2, "note", 0}}));
  const MediaProbe probe = probed(withXmpPacket(
      noted, kCamera + std::string("GCamera:BurstID=\"A1-7\" GCamera:BurstPrimary=\"1\">")));
  EXPECT_EQ(probe.burstIdentifier, "A1-7");
  EXPECT_TRUE(probe.burstPrimary);
}

TEST(Identifiers, OfABurstAreReadWhateverPrefixTheFileUses) {
  const MediaProbe probe =
      probed(withXmpPacket(plainJpeg(),
                           "xmlns:Camera=\"http://ns.google.com/photos/1.0/camera/\" "
                           "Camera:BurstID=\"A1-7\" Camera:BurstPrimary=\"0\">"));
  EXPECT_EQ(probe.burstIdentifier, "A1-7");
  EXPECT_FALSE(probe.burstPrimary);
}

TEST(Identifiers, AreEmptyWithoutThem) {
  const MediaProbe probe = probed(plainJpeg());
  EXPECT_EQ(probe.contentIdentifier, "");
  EXPECT_EQ(probe.burstIdentifier, "");
  EXPECT_FALSE(probe.burstPrimary);
}

TEST(Subtypes, AreNoneWithoutASign) {
  EXPECT_EQ(probed(plainJpeg()).mediaSubtypes, 0U);
}

TEST(Subtypes, KnowPanoramas) {
  const auto panorama = PHAssetMediaSubtype::photoPanorama;
  EXPECT_EQ(tagged({{"Exif.Photo.CustomRendered", "6"}}).mediaSubtypes, panorama);
  EXPECT_EQ(tagged({}, {{"Xmp.GPano.ProjectionType", "equirectangular"}}).mediaSubtypes, panorama);
}

TEST(Subtypes, KnowHdr) {
  const auto hdr = PHAssetMediaSubtype::photoHDR;
  EXPECT_EQ(tagged({{"Exif.Photo.CustomRendered", "2"}}).mediaSubtypes, hdr);
  EXPECT_EQ(tagged({{"Exif.Photo.CustomRendered", "3"}}).mediaSubtypes, hdr);
  EXPECT_EQ(probed(withMakerNote(plainJpeg(), makerNote({{0x000a, 9, "", 3}}))).mediaSubtypes, hdr);
  EXPECT_EQ(probed(withMakerNote(plainJpeg(), makerNote({{0x000a, 9, "", 4}}))).mediaSubtypes, 0U);
  EXPECT_EQ(probed(withXmpPacket(plainJpeg(),
                                 "xmlns:hdrgm=\"http://ns.adobe.com/hdr-gain-map/1.0/\" "
                                 "hdrgm:Version=\"1.0\">"))
                .mediaSubtypes,
            hdr);
}

TEST(Subtypes, KnowDepth) {
  EXPECT_EQ(tagged({{"Exif.Photo.CustomRendered", "8"}}).mediaSubtypes,
            PHAssetMediaSubtype::photoDepthEffect);
  EXPECT_EQ(tagged({{"Exif.Photo.CustomRendered", "7"}}).mediaSubtypes,
            PHAssetMediaSubtype::photoDepthEffect | PHAssetMediaSubtype::photoHDR);
  EXPECT_EQ(probed(withXmpPacket(plainJpeg(),
                                 "xmlns:GDepth=\"http://ns.google.com/photos/1.0/depthmap/\" "
                                 "GDepth:Format=\"RangeInverse\">"))
                .mediaSubtypes,
            PHAssetMediaSubtype::photoDepthEffect);
}

TEST(Subtypes, TakeOtherRenderingsForPlain) {
  for (const char* rendered : {"0", "1", "4", "5"}) {
    EXPECT_EQ(tagged({{"Exif.Photo.CustomRendered", rendered}}).mediaSubtypes, 0U) << rendered;
  }
}

TEST(Subtypes, KnowScreenshotsByTheirComment) {
  const auto screenshot = PHAssetMediaSubtype::photoScreenshot;
  EXPECT_EQ(tagged({{"Exif.Photo.UserComment", "charset=Ascii Screenshot"}}).mediaSubtypes,
            screenshot);
  EXPECT_EQ(tagged({{"Exif.Photo.UserComment", "charset=Ascii A Screenshot"}}).mediaSubtypes, 0U);
  EXPECT_EQ(tagged({}, {{"Xmp.exif.UserComment", "lang=x-default Screenshot"}}).mediaSubtypes,
            screenshot);
}

TEST(Subtypes, KnowScreenshotsByTheirName) {
  EXPECT_EQ(probed(plainJpeg(), "Screenshot_1.jpg").mediaSubtypes,
            PHAssetMediaSubtype::photoScreenshot);
}

TEST(FrontCamera, IsToldByTheMakerNoteOrTheLens) {
  EXPECT_FALSE(probed(plainJpeg()).frontCamera);
  EXPECT_TRUE(probed(withMakerNote(plainJpeg(), makerNote({{0x0045, 9, "", 1}}))).frontCamera);
  EXPECT_FALSE(probed(withMakerNote(plainJpeg(), makerNote({{0x0045, 9, "", 0}}))).frontCamera);
  EXPECT_TRUE(tagged({{"Exif.Photo.LensModel", "Phone Front Camera 2.7mm"}}).frontCamera);
  EXPECT_FALSE(tagged({{"Exif.Photo.LensModel", "Phone back camera 4mm"}}).frontCamera);
}

}  // namespace
}  // namespace quorvin
