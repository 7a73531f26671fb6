#include "testing/media/coded_films.h"
#include "testing/media/probes.h"
#include "tests/hostile/hostile_files.h"
#include "tests/hostile/hostile_movies.h"
#include "tests/hostile/hostile_pictures.h"

namespace quorvin {

namespace {

/// A packed archive with one empty file.
Bytes archive() {
  const auto entry = [](ByteWriter& file, std::string_view signature) -> ByteWriter& {
    return file.text(signature).zeros(22);
  };
  ByteWriter file;
  entry(file, "PK\x03\x04").little(1, 2).zeros(2).text("a");
  entry(file, "PK\x01\x02").zeros(2).little(1, 2).zeros(16).text("a");
  return file.text("PK\x05\x06").zeros(4).little(1, 2).little(1, 2).little(47, 4).zeros(6).bytes();
}

/// A photo that says that so many of its last bytes are a movie.
Bytes motionPhoto(const std::string& length, const Bytes& movie) {
  return concatenated({withXmpPacket(savedPicture(".jpg"),
                                     "xmlns:GCamera='http://ns.google.com/photos/1.0/camera/' "
                                     "GCamera:MicroVideo='1' GCamera:MicroVideoOffset='" +
                                         length + "'>"),
                       movie});
}

Bytes movieOfAnotherFile(const char* type, const std::string& name) {
  const ByteWriter reference = ByteWriter().zeros(4).text(name).zeros(1);
  return movieOf(
      {.sample = blackPng(16, 16, 2), .dataReference = ByteWriter().box(type, reference).bytes()});
}

Bytes movieThatIsElsewhere() {
  const ByteWriter place =
      ByteWriter().zeros(4).text("url ").big(20, 4).text("file:///etc/hostname");
  ByteWriter descriptor;
  descriptor.box("rdrf", place);
  return concatenated(
      {movieBeginning(),
       ByteWriter()
           .box("moov", ByteWriter().box("rmra", ByteWriter().box("rmda", descriptor)))
           .bytes()});
}

}  // namespace

std::vector<HostileFile> disguises() {
  const Bytes jpeg = savedPicture(".jpg");
  const Bytes png = savedPicture(".png");
  const Bytes gif = savedPicture(".gif");
  const Bytes movie = video({gradient(16, 16)});
  const Bytes page = bytesOf("<!DOCTYPE html><html><script>alert(1)</script></html>");
  const Bytes document = bytesOf(
      "%PDF-1.4\n1 0 obj<</Type/Catalog/Pages 2 0 R>>endobj\n2 0 obj<</Type/Pages/Count 0>>endobj\n"
      "trailer<</Root 1 0 R>>\n%%EOF\n");
  return {
      {"archive_behind.jpg", concatenated({jpeg, archive()})},
      {"archive_behind.png", concatenated({png, archive()})},
      {"archive.jpg", archive()},
      {"page.jpg", page},
      {"page_within.jpg", jpegWith(jpeg, jpegSegment(0xfe, page))},
      {"page_behind.gif", concatenated({gif, page})},
      {"document.jpg", document},
      {"document_within.jpg", jpegWith(jpeg, jpegSegment(0xfe, document))},
      {"drawing.png", bytesOf("<?xml version='1.0'?><svg xmlns='http://www.w3.org/2000/svg'>"
                              "<image href='file:///etc/hostname'/></svg>")},
      {"print.jpg", bytesOf("%!PS-Adobe-3.0 EPSF-3.0\n(/etc/hostname) (r) file quit\n")},
      {"picture_behind.gif", concatenated({gif, jpeg, png})},
      {"two_pictures.jpg", concatenated({jpeg, jpeg})},
      {"movie_behind.jpg", concatenated({jpeg, movie})},
      {"motion.jpg", motionPhoto(std::to_string(movie.size()), movie)},
      {"motion_too_long.jpg", motionPhoto("99999999999999999999", movie)},
      {"motion_backwards.jpg", motionPhoto("-1", movie)},
      {"motion_of_itself.jpg", motionPhoto(std::to_string(movie.size() + jpeg.size()), movie)},
      {"movie_with_a_picture.mp4", concatenated({movie, jpeg})},
      {"picture_before.mov", concatenated({jpeg, movie})},
      {"picture.mov", png},
      {"movie.heic", movie},
      {"movie.png", movie},
      {"list.mov", bytesOf("ffconcat version 1.0\nfile /etc/hostname\n")},
      {"list_of_itself.mov", bytesOf("ffconcat version 1.0\nfile list_of_itself.mov\n")},
      {"list.mp4", bytesOf("#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n/etc/hostname\n")},
      {"key.mp4", bytesOf("#EXTM3U\n#EXT-X-KEY:METHOD=AES-128,URI=\"file:///etc/hostname\"\n"
                          "#EXTINF:1,\nhttp://127.0.0.1:1/a.ts\n#EXT-X-ENDLIST\n")},
      {"session.mp4", bytesOf("v=0\no=- 0 0 IN IP4 127.0.0.1\ns=a\nc=IN IP4 127.0.0.1\nt=0 0\n"
                              "m=video 9 RTP/AVP 96\na=rtpmap:96 H264/90000\n")},
      {"parts.mp4",
       bytesOf("<?xml version='1.0'?><MPD xmlns='urn:mpeg:dash:schema:mpd:2011' type='static'>"
               "<Period><AdaptationSet mimeType='video/mp4'><Representation id='1'>"
               "<BaseURL>file:///etc/hostname</BaseURL>"
               "</Representation></AdaptationSet></Period></MPD>")},
      {"smooth.mov", bytesOf("<SmoothStreamingMedia MajorVersion='2' Duration='1'>"
                             "<StreamIndex Type='video' Url='/etc/hostname'/>"
                             "</SmoothStreamingMedia>")},
      {"subtitles.mov", bytesOf("1\n00:00:00,000 --> 00:00:01,000\n<font face=x>text</font>\n")},
      {"index.mov", bytesOf("# VobSub index file, v7\nid: en, index: 0\n"
                            "timestamp: 00:00:00:000, filepos: 000000000\n")},
      {"metadata.mov", bytesOf(";FFMETADATA1\ntitle=a\n[CHAPTER]\nTIMEBASE=1/1\nSTART=0\nEND=1\n")},
      {"sheet.m4a", bytesOf("FILE \"/etc/hostname\" BINARY\n  TRACK 01 AUDIO\n")},
      {"program.mov", bytesOf("#!/bin/sh\ntouch /tmp/hostile\n")},
      {"program.jpg", ByteWriter()
                          .text("\x7f"
                                "ELF")
                          .big(0x02010100, 4)
                          .zeros(2'000)
                          .bytes()},
      {"other_file.mov", movieOfAnotherFile("url ", "file:///etc/hostname")},
      {"other_machine.mov", movieOfAnotherFile("url ", "http://127.0.0.1:1/a")},
      {"alias.mov", movieOfAnotherFile("alis", "/etc/hostname")},
      {"elsewhere.mov", movieThatIsElsewhere()},
      {"empty.jpg", {}},
      {"one_byte.mov", {0}},
      {"zeros.jpg", Bytes(100'000)},
      {"ones.mp4", Bytes(100'000, 0xff)},
      {"sync.mp3", Bytes(200'000, 0xff)},
  };
}

}  // namespace quorvin
