#include "media_worker/side/side_file.h"

#include <gtest/gtest.h>

#include "media_worker/side/xmp_bounds.h"
#include "testing/media/probes.h"

namespace quorvin {
namespace {

constexpr const char* kNoMedia = "The file is not a photo, video or audio file.";
constexpr const char* kPropertyList =
    "<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"-//X//DTD PLIST 1.0//EN\" \"x\">\n"
    "<plist version=\"1.0\"><dict/></plist>\n";

MediaProbe side(const std::string& content, const std::string& name) {
  MediaProbe probe = probed(bytesOf(content), name);
  EXPECT_EQ(probe.kind, MediaKind::side);
  EXPECT_EQ(probe.pixelWidth, 0);
  EXPECT_EQ(probe.pixelHeight, 0);
  return probe;
}

std::string refused(const std::string& content, const std::string& name) {
  return refusal(bytesOf(content), name);
}

MediaProbe xmp(const std::string& description) {
  return side(xmpPacket(description), "a.xmp");
}

constexpr const char* kXmpNamespaces =
    "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
    "xmlns:photoshop=\"http://ns.adobe.com/photoshop/1.0/\" "
    "xmlns:exif=\"http://ns.adobe.com/exif/1.0/\" xmlns:q=\"https://quorvin.dev/ns/1.0/\" ";

MediaProbe described(const std::string& attributes, const std::string& elements = "") {
  return xmp(kXmpNamespaces + attributes + ">" + elements);
}

TEST(Adjustment, IsAPropertyListOfThatEnding) {
  for (const char* content :
       {kPropertyList, "bplist00\1\2", "<plist/>", "\xef\xbb\xbf\n<!DOCTYPE plist><plist/>"}) {
    const MediaProbe probe = side(content, "IMG_1.AAE");
    EXPECT_EQ(probe.notes, SideNotes{.kind = SideKind::adjustment});
    EXPECT_EQ(probe.extension, "aae");
    EXPECT_EQ(probe.uniformTypeIdentifier, "public.xml");
  }
  EXPECT_EQ(refused(kPropertyList, "IMG_1.plist"), kNoMedia);
  EXPECT_EQ(refused("<?xml version=\"1.0\"?><svg/>", "IMG_1.AAE"), kNoMedia);
  EXPECT_EQ(refused("anything", "IMG_1.aae"), kNoMedia);
}

TEST(SideFile, IsAtMostFourMebibytes) {
  const std::string list = kPropertyList;
  EXPECT_EQ(refused(list + std::string((4 << 20) - list.size() + 1, ' '), "a.aae"), kNoMedia);
  side(list + std::string((4 << 20) - list.size(), ' '), "a.aae");
}

TEST(SideFile, WithThePixelsOfAPictureIsAPicture) {
  EXPECT_EQ(probed(savedPicture(".jpg"), "a.xmp").kind, MediaKind::image);
}

TEST(XmpFile, TellsTheDateThatAPhotosXmpWouldTell) {
  const MediaProbe probe = described(
      "xmp:CreateDate=\"2015-01-01T00:00:00Z\" "
      "exif:DateTimeOriginal=\"2016-01-01T00:00:00+02:00\"");
  EXPECT_EQ(probe.creationDate, utc("2015-12-31T22:00:00Z"));
  EXPECT_EQ(probe.extension, "xmp");
  EXPECT_EQ(probe.uniformTypeIdentifier, "public.xml");
  EXPECT_EQ(probe.notes, SideNotes{.kind = SideKind::xmp});
  EXPECT_EQ(described("photoshop:DateCreated=\"2017-05-01T10:34:56.123456789Z\"").creationDate,
            utc("2017-05-01T10:34:56Z") + 123'456'789);
  EXPECT_FALSE(described("xmp:CreateDate=\"soon\"").creationDate);
}

TEST(XmpFile, OfFiveStarsIsAFavourites) {
  EXPECT_TRUE(described("xmp:Rating=\"5\"").notes.favorite);
  EXPECT_TRUE(described("", "<xmp:Rating>5</xmp:Rating>").notes.favorite);
  for (const char* rating : {"4", "-1", "55", ""}) {
    EXPECT_FALSE(described("xmp:Rating=\"" + std::string(rating) + "\"").notes.favorite) << rating;
  }
  EXPECT_FALSE(described("xmp:Rating=\"5\" q:Favorite=\"False\"").notes.favorite);
  EXPECT_TRUE(described("xmp:Rating=\"3\" q:Favorite=\"True\"").notes.favorite);
}

TEST(XmpFile, HasATitle) {
  const auto titled = [](const std::string& texts) {
    return described("", "<dc:title><rdf:Alt>" + texts + "</rdf:Alt></dc:title>").notes.title;
  };
  EXPECT_EQ(titled("<rdf:li xml:lang=\"de\">Das Meer</rdf:li>"
                   "<rdf:li xml:lang=\"x-default\">The sea</rdf:li>"),
            "The sea");
  EXPECT_EQ(titled("<rdf:li xml:lang=\"de\">Das Meer</rdf:li>"), "Das Meer");
  const std::string cut =
      titled("<rdf:li xml:lang=\"de\">x" + repeated("\xc3\xa4", 600) + "</rdf:li>");
  EXPECT_EQ(cut, "x" + repeated("\xc3\xa4", 511));
}

TEST(XmpFile, TellsNothingOfAnExportUnlessOneWroteIt) {
  EXPECT_FALSE(described("xmp:Rating=\"5\"").notes.exported);
  EXPECT_FALSE(described("q:Hidden=\"True\"").notes.exported);
}

TEST(XmpFile, IsRefusedWhenItIsNone) {
  EXPECT_EQ(refused("hello", "a.xmp"), kNoMedia);
  EXPECT_EQ(refused("<?xml version=\"1.0\"?><svg/>", "a.xmp"), kNoMedia);
  const std::string whole = xmpPacket(">");
  EXPECT_EQ(refused(whole.substr(0, whole.size() / 2), "a.xmp"), kNoMedia);
  EXPECT_EQ(refused("\xff\xfe<\0" + whole, "a.xmp"), kNoMedia);
}

TEST(XmpFile, DefinesNothingOfItsOwn) {
  const std::string packet = xmpPacket(
      "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\">"
      "<xmp:Rating>&five;</xmp:Rating>");
  EXPECT_EQ(refused("<!DOCTYPE x [<!ENTITY five \"5\">]>" + packet, "a.xmp"), kNoMedia);
}

TEST(XmpFile, IsNeitherDeepNorOfVeryManyParts) {
  const std::string open = "<dc:a rdf:parseType=\"Resource\">";
  const auto nestedIn = [&](std::size_t depth) {
    return xmpPacket(kXmpNamespaces + (">" + repeated(open, depth)) + repeated("</dc:a>", depth));
  };
  side(nestedIn(20), "a.xmp");
  EXPECT_EQ(refused(nestedIn(100), "a.xmp"), kNoMedia);
  // Comments hide no depth.
  EXPECT_EQ(refused(xmpPacket(kXmpNamespaces + (">" + repeated("<!-- </dc:a> -->" + open, 100)) +
                              repeated("</dc:a>", 100)),
                    "a.xmp"),
            kNoMedia);
  EXPECT_TRUE(isReadableXml(xmpPacket(">" + repeated("<dc:a b='c'/>", 1'900))));
  EXPECT_FALSE(isReadableXml(xmpPacket(">" + repeated("<dc:a b='c'/>", 2'000))));
  EXPECT_TRUE(isReadableXml(xmpPacket(">" + repeated("<rdf:li>a</rdf:li>", 20'000))));
  EXPECT_FALSE(isReadableXml(xmpPacket(">" + repeated("<rdf:li>a</rdf:li>", 20'001))));
}

TEST(PhotoServicesFile, TellsDateNameAndWhetherItIsAFavourite) {
  const MediaProbe probe = side(
      R"({"title": "IMG_1.JPG", "photoTakenTime": {"timestamp": "1493634896", "formatted": "x"},
          "creationTime": {"timestamp": "7"}, "favorited": true, "people": [{"title": "no"}]})",
      "IMG_1.JPG.json");
  EXPECT_EQ(probe.creationDate, utc("2017-05-01T10:34:56Z"));
  EXPECT_EQ(probe.notes,
            (SideNotes{.kind = SideKind::takeout, .title = "IMG_1.JPG", .favorite = true}));
  EXPECT_EQ(probe.extension, "json");
  EXPECT_EQ(probe.uniformTypeIdentifier, "public.json");
}

TEST(PhotoServicesFile, MayTellLittle) {
  const auto dateOf = [](const std::string& time) {
    return side(R"({"photoTakenTime": {"timestamp": )" + time + "}}", "a.json").creationDate;
  };
  EXPECT_EQ(dateOf("\"-86400\""), utc("1969-12-31T00:00:00Z"));
  EXPECT_EQ(dateOf("5"), 5'000'000'000);
  for (const char* time :
       {"\"\"", "\"soon\"", "\"NaN\"", "\"1.5\"", "1.5", "\"99999999999\"", "1e300", "true", "null",
        "{}", "[\"5\"]", "\"99999999999999999999\"", "-99999999999999999999"}) {
    EXPECT_FALSE(dateOf(time)) << time;
  }
  const MediaProbe odd =
      side(R"({"photoTakenTime": {}, "title": 5, "favorited": "true"})", "a.json");
  EXPECT_EQ(odd.notes, SideNotes{.kind = SideKind::takeout});
  EXPECT_EQ(side(R"({"photoTakenTime": {}, "title": "a\u0000b"})", "a.json").notes.title, "");
}

TEST(PhotoServicesFile, TellsAnAlbumsTitle) {
  for (const char* content : {R"({"title": "Sea"})", R"({"albumData": {"title": "Sea"}})"}) {
    EXPECT_EQ(side(content, "Metadata.JSON").notes,
              (SideNotes{.kind = SideKind::album, .title = "Sea"}));
    EXPECT_EQ(refused(content, "other.json"), kNoMedia);
  }
  EXPECT_EQ(refused(R"({"description": "Sea"})", "metadata.json"), kNoMedia);
}

TEST(PhotoServicesFile, IsRefusedWhenItIsNone) {
  for (const std::string content :
       {"hello", "[]", "5", "\"photoTakenTime\"", "{\"photoTakenTime\": 5}",
        "{\"photoTakenTime\": {\"timestamp\": \"5\"}", "{\"photoTakenTime\": {}} {}",
        "[{\"photoTakenTime\": {}}]"}) {
    EXPECT_EQ(refused(content, "a.json"), kNoMedia) << content;
  }
  EXPECT_EQ(refused(repeated("[", 1'000'000), "a.json"), kNoMedia);
  EXPECT_EQ(
      refused("{\"photoTakenTime\": {}, \"a\": " + repeated("[", 100) + repeated("]", 100) + "}",
              "a.json"),
      kNoMedia);
}

}  // namespace
}  // namespace quorvin
