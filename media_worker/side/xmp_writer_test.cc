#include "media_worker/side/xmp_writer.h"

#include <gtest/gtest.h>

#include "testing/media/probes.h"

namespace quorvin {
namespace {

WriteXmpRequest wholeRequest() {
  WriteXmpRequest request;
  request.creationDate = utc("2017-05-01T10:34:56Z") + 123'456'789;
  request.notes = {.kind = SideKind::xmp, .title = "The <sea>", .favorite = true};
  request.notes.exported =
      ExportedNotes{.parts = {{1, "IMG_1 (2).JPG", "IMG_1.JPG"}, {9, "\xc3\xa4 & b.MOV", ""}},
                    .albums = {"Sea, and sky", "  Best; of", "Sea\"'<>"},
                    .modified = -1,
                    .hidden = true,
                    .burstIdentifier = "burst",
                    .burstPrimary = true,
                    .represents = true,
                    .burstSelection = 3};
  return request;
}

std::string writtenXmp(const std::string& existing, const WriteXmpRequest& request) {
  const auto packet = writeXmp(existing, request);
  EXPECT_TRUE(packet) << packet.error().sentence();
  return packet ? *packet : "";
}

MediaProbe readBack(const std::string& packet) {
  return probed(bytesOf(packet), "a.jpg.xmp");
}

TEST(XmpWriter, WritesWhatIsReadBack) {
  const WriteXmpRequest request = wholeRequest();
  const MediaProbe read = readBack(writtenXmp("", request));
  EXPECT_EQ(read.notes, request.notes);
  EXPECT_EQ(read.creationDate, request.creationDate);
}

TEST(XmpWriter, WritesLittleThatIsReadBack) {
  WriteXmpRequest request;
  request.notes = {.kind = SideKind::xmp};
  request.notes.exported = ExportedNotes{.parts = {{1, "a.jpg"}}};
  const MediaProbe read = readBack(writtenXmp("", request));
  EXPECT_EQ(read.notes, request.notes);
  EXPECT_FALSE(read.creationDate);
}

TEST(XmpWriter, PartsThatNoExportWritesAreNotBelieved) {
  using Parts = std::vector<NotedPart>;
  for (const Parts& parts :
       {Parts{{1, "a.jpg"}, {13, "b.jpg"}}, Parts{{1, "a.jpg"}, {1001, "a.xmp"}},
        Parts{{1, "a.jpg"}, {1, "b.jpg"}}, Parts{{1, "../a.jpg"}}, Parts{{9, "a.mov"}},
        Parts{{-1, "a.jpg"}}}) {
    WriteXmpRequest request = wholeRequest();
    request.notes.exported->parts = parts;
    const MediaProbe read = readBack(writtenXmp("", request));
    request.notes.exported->parts.clear();
    EXPECT_EQ(read.notes, request.notes) << parts.back().type << " " << parts.back().name;
  }
  for (const Parts& parts :
       {Parts{{5, "a.jpg"}, {12, "b.mov"}}, Parts{{3, "a.m4a"}, {1002, "j"}}}) {
    WriteXmpRequest request = wholeRequest();
    request.notes.exported->parts = parts;
    EXPECT_EQ(readBack(writtenXmp("", request)).notes, request.notes);
  }
}

TEST(XmpWriter, WritesTheFirstAndTheLastDateOfAll) {
  for (const std::int64_t date :
       {utc("1677-09-21T00:12:44Z"), std::numeric_limits<std::int64_t>::max()}) {
    WriteXmpRequest request = wholeRequest();
    request.creationDate = date;
    request.notes.exported->modified = date;
    const MediaProbe read = readBack(writtenXmp("", request));
    EXPECT_EQ(read.creationDate, date);
    EXPECT_EQ(read.notes.exported->modified, date);
  }
}

TEST(XmpWriter, WritesADateThatCannotBeReadBackWithoutHarm) {
  WriteXmpRequest request = wholeRequest();
  request.creationDate = std::numeric_limits<std::int64_t>::min();
  const std::string packet = writtenXmp("", request);
  EXPECT_NE(packet.find("1677-09-21T00:12:43.145224192Z"), packet.npos) << packet;
}

TEST(XmpWriter, WritesTheSameAgainOverWhatItWrote) {
  const WriteXmpRequest request = wholeRequest();
  const std::string once = writtenXmp("", request);
  const std::string twice = writtenXmp(once, request);
  EXPECT_EQ(readBack(twice).notes, request.notes);
  EXPECT_EQ(twice.size(), once.size());
  WriteXmpRequest other;
  other.creationDate = 5;
  other.notes = {.kind = SideKind::xmp, .title = "The <sea>"};
  other.notes.exported = ExportedNotes{.parts = {{2, "b.mov"}}};
  const MediaProbe read = readBack(writtenXmp(once, other));
  EXPECT_EQ(read.notes, other.notes);
  EXPECT_EQ(read.creationDate, 5);
}

constexpr const char* kForeign =
    "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\" "
    "xmlns:crs=\"http://ns.adobe.com/camera-raw-settings/1.0/\" "
    "xmlns:un=\"http://example.org/unknown/\" crs:Exposure2012=\"+0.35\" un:Known=\"said\" "
    "xmp:Rating=\"3\" xmp:CreateDate=\"2017-05-01T12:34:56.123456789+02:00\">"
    "<dc:subject><rdf:Bag><rdf:li>boat</rdf:li></rdf:Bag></dc:subject>";

TEST(XmpWriter, KeepsWhatOtherProgramsWrote) {
  const std::string packet = writtenXmp(xmpPacket(kForeign), wholeRequest());
  for (const char* kept :
       {"crs:Exposure2012", "+0.35", "http://example.org/unknown/", "said", "xmp:Rating=\"3\"",
        "<rdf:li>boat</rdf:li>", "2017-05-01T12:34:56.123456789+02:00",
        "<rdf:li>Sea, and sky</rdf:li>"}) {
    EXPECT_NE(packet.find(kept), packet.npos) << kept << "\n" << packet;
  }
  const MediaProbe read = readBack(packet);
  EXPECT_TRUE(read.notes.favorite);
  EXPECT_EQ(read.creationDate, wholeRequest().creationDate);
}

TEST(XmpWriter, RefusesWhatIsNoXmp) {
  for (const char* existing : {"hello", "<?xml version=\"1.0\"?><svg/>"}) {
    const auto packet = writeXmp(existing, wholeRequest());
    ASSERT_FALSE(packet);
    EXPECT_EQ(packet.error().sentence(), "The XMP side file is damaged.");
  }
}

TEST(XmpWriter, NotesThatFillAReplyAreCutToIt) {
  WriteXmpRequest request = wholeRequest();
  request.notes.exported->albums.assign(kMostNotes, std::string(60, 'a'));
  const MediaProbe read = readBack(writtenXmp("", request));
  EXPECT_EQ(read.notes.exported->parts, request.notes.exported->parts);
  EXPECT_GT(read.notes.exported->albums.size(), 300U);
  EXPECT_LT(read.notes.exported->albums.size(), kMostNotes);
}

}  // namespace
}  // namespace quorvin
