// Videos as files, out of the imported library.
#include <algorithm>
#include <chrono>
#include <thread>

#include "codec/standard_method_codec.h"
#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class Videos : public testing::Test {
 protected:
  Exports channel;

  static constexpr Format kFormats[] = {Format::original, Format::mov, Format::mp4};

  /// A file of the library's own.
  fs::path direct(const std::string& name) {
    const Value reply =
        channel.result("getVideoUrl", videoFile(channel.asset(name), Format::original));
    EXPECT_EQ(at(reply, "deletable"), Value(false)) << name;
    return textAt(reply, "url");
  }
};

TEST_F(Videos, AreHandedOverInPlaceWhenNothingElseIsAsked) {
  for (const std::string name : {"MOVIE.mov", "CLIP.mp4", "TURNED.mp4", "capture.mkv"}) {
    const fs::path file = direct(name);
    EXPECT_TRUE(file.string().starts_with(std::string(QUORVIN_IMPORTED_LIBRARY) + "/originals/"))
        << file;
    EXPECT_TRUE(bytesOf(file) == bytesOf(kGoodMedia / name));
    EXPECT_EQ(file.extension(), fs::path(name).extension());
    EXPECT_EQ(direct(name), file);
  }
  EXPECT_FALSE(fs::exists(channel.temporary() / "video"));
}

TEST_F(Videos, AreEncodedAgainForAnotherFormat) {
  struct Case {
    std::string name;
    Format format;
    std::string file;
  };
  for (const Case& c :
       {Case{"MOVIE.mov", Format::mov, "MOVIE.mov"}, Case{"MOVIE.mov", Format::mp4, "MOVIE.mp4"},
        Case{"CLIP.mp4", Format::mov, "CLIP.mov"}, Case{"CLIP.mp4", Format::mp4, "CLIP.mp4"},
        Case{"capture.mkv", Format::mov, "capture.mov"}}) {
    SCOPED_TRACE(c.name + " " + c.file);
    const SeenVideo source = seeVideo(kGoodMedia / c.name);
    const fs::path file = channel.video(c.name, c.format);
    EXPECT_EQ(file, channel.temporary() / "video" / c.file);
    const SeenVideo seen = seeVideo(file);
    EXPECT_EQ(seen.videoCodec, "h264");
    EXPECT_EQ(seen.tag, "avc1");
    EXPECT_EQ(seen.audioCodec, "aac");
    EXPECT_EQ(seen.brand, c.format == Format::mov ? "qt  " : seen.brand);
    EXPECT_NE(seen.brand, c.format == Format::mp4 ? "qt  " : "isom");
    EXPECT_EQ(seen.size, source.size);
    EXPECT_EQ(seen.frames, source.frames);
    EXPECT_NEAR(seen.videoDuration, 2 * (c.name == "capture.mkv" ? 0.5 : 1), 0.05);
    EXPECT_NEAR(seen.audioDuration, seen.videoDuration, 0.06);
    EXPECT_TRUE(seen.indexIsFirst);
    EXPECT_FALSE(seen.isTurned);
    EXPECT_GT(psnr(file, kGoodMedia / c.name), 40);
  }
}

TEST_F(Videos, KeepTheirCreationTime) {
  for (const Format format : {Format::mov, Format::mp4}) {
    EXPECT_TRUE(seeVideo(channel.video("MOVIE.mov", format))
                    .creationTime.starts_with("2023-07-14T10:20:30"));
  }
}

TEST_F(Videos, OfMediumQualityAreSmall) {
  struct Case {
    std::string name;
    PixelSize size;
  };
  for (const Case& c : {Case{"MOVIE.mov", {568, 320}}, Case{"CLIP.mp4", {480, 360}},
                        Case{"capture.mkv", {320, 240}}, Case{"TURNED.mp4", {240, 320}}}) {
    const SeenVideo source = seeVideo(kGoodMedia / c.name);
    for (const Format format : kFormats) {
      const fs::path file = channel.video(c.name, format, true);
      const SeenVideo seen = seeVideo(file);
      EXPECT_EQ(file.extension(), format == Format::mp4 ? ".mp4" : ".mov");
      EXPECT_EQ(seen.videoCodec, "h264") << c.name;
      EXPECT_EQ(seen.size.width, c.size.width) << c.name;
      EXPECT_EQ(seen.size.height, c.size.height) << c.name;
      EXPECT_EQ(seen.frames, source.frames) << c.name;
      EXPECT_FALSE(seen.isTurned) << c.name;
      EXPECT_TRUE(seen.indexIsFirst) << c.name;
    }
  }
}

TEST_F(Videos, ThatAreTurnedComeUpright) {
  const fs::path file = channel.video("TURNED.mp4", Format::mp4);
  const SeenVideo seen = seeVideo(file);
  EXPECT_EQ(seen.size, (PixelSize{240, 320}));
  EXPECT_FALSE(seen.isTurned);
  // Programs turn the source by its matrix themselves.
  EXPECT_GT(psnr(file, kGoodMedia / "TURNED.mp4"), 40);
}

TEST_F(Videos, InSlowMotionAreCopiedSlowly) {
  const SeenVideo source = seeVideo(kGoodMedia / "SLOWMO.mov");
  const fs::path file = channel.video("SLOWMO.mov", Format::original);
  EXPECT_EQ(file, channel.temporary() / "video/SLOWMO.mov");
  const SeenVideo seen = seeVideo(file);
  EXPECT_EQ(seen.videoCodec, "h264");
  EXPECT_EQ(seen.size, source.size);
  EXPECT_EQ(seen.frames, source.frames);
  // 0.4 s, then 1.2 s at a quarter of the speed, then 0.4 s.
  EXPECT_NEAR(seen.videoDuration, 0.4 + 1.2 * 4 + 0.4, 0.06);
  EXPECT_NEAR(seen.audioDuration, seen.videoDuration, 0.1);
  EXPECT_TRUE(seen.indexIsFirst);
  // Byte by byte the same pictures; their times alone are others.
  EXPECT_EQ(packetsOf(file, "v"), packetsOf(kGoodMedia / "SLOWMO.mov", "v"));
}

TEST_F(Videos, InSlowMotionAreEncodedSlowly) {
  for (const Format format : {Format::mov, Format::mp4}) {
    for (const bool medium : {false, true}) {
      const SeenVideo seen = seeVideo(channel.video("SLOWMO.mov", format, medium));
      EXPECT_EQ(seen.size, (PixelSize{320, 240}));
      EXPECT_NEAR(seen.videoDuration, 0.4 + 1.2 * 4 + 0.4, 0.1);
      EXPECT_NEAR(seen.audioDuration, seen.videoDuration, 0.1);
    }
  }
}

TEST_F(Videos, CarryTheDatesOfTheirAssets) {
  const fs::path file = channel.video("CLIP.mp4", Format::mov);
  const auto milliseconds =
      integerAt(channel.result("getAssetInfo", Map{{"assetId", channel.asset("CLIP.mp4")}}),
                "modificationDate");
  EXPECT_NEAR(modificationOf(file), static_cast<double>(milliseconds) / 1000, 0.002);
}

TEST_F(Videos, ReplaceTheEarlierFile) {
  const fs::path first = channel.video("MOVIE.mov", Format::mp4, true);
  EXPECT_EQ(channel.video("MOVIE.mov", Format::mp4), first);
  EXPECT_EQ(seeVideo(first).size, (PixelSize{640, 360}));
  EXPECT_EQ(filesIn(channel.temporary()), (std::vector<std::string>{"video/MOVIE.mp4"}));
}

TEST_F(Videos, OfOneNameAtOnceLeaveOneWholeFile) {
  const Map arguments = videoFile(channel.asset("CLIP.mp4"), Format::mp4, true);
  std::vector<const Answer*> answers;
  for (int i = 0; i < 4; ++i) answers.push_back(&channel.call("getVideoUrl", arguments));
  for (const Answer* answer : answers) channel.await(*answer);
  const Value reply =
      Map{{"url", (channel.temporary() / "video/CLIP.mp4").string()}, {"deletable", true}};
  int written = 0;
  for (const Answer* answer : answers) {
    EXPECT_EQ(answer->count, 1);
    const auto envelope = decodeEnvelope(answer->message);
    ASSERT_TRUE(envelope);
    if (const auto* fault = std::get_if<FlutterError>(&*envelope)) {
      EXPECT_EQ(fault->message, "Export failed");
      EXPECT_TRUE(fault->details.text().starts_with("Cannot Save: ")) << fault->details.text();
    } else {
      EXPECT_EQ(std::get<Value>(*envelope), reply);
      ++written;
    }
  }
  EXPECT_GE(written, 1);
  EXPECT_EQ(filesIn(channel.temporary()), (std::vector<std::string>{"video/CLIP.mp4"}));
  EXPECT_EQ(seeVideo(channel.temporary() / "video/CLIP.mp4").frames, 50);
}

TEST_F(Videos, WhoseOriginalsAreGoneAreReported) {
  channel.useCopy([](const std::string& library) { fs::remove_all(library + "/originals"); });
  for (const std::string name : {"MOVIE.mov", "SLOWMO.mov"}) {
    for (const Format format : kFormats) {
      EXPECT_EQ(channel.error("getVideoUrl", videoFile(channel.asset(name), format)).message,
                "Failed to load AVAsset")
          << name;
    }
  }
  EXPECT_EQ(filesIn(channel.temporary()), std::vector<std::string>{});
}

TEST_F(Videos, OfASingleFrameAreExported) {
  const fs::path single = channel.folder() / "single.mov";
  outputOf({"ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=64x48:r=30",
            "-frames:v", "1", "-c:v", "libx264", "-pix_fmt", "yuv420p", single});
  channel.use(channel.libraryOf({single}));
  for (const Format format : {Format::mov, Format::mp4}) {
    const SeenVideo seen = seeVideo(channel.video("single.mov", format));
    EXPECT_EQ(seen.frames, 1);
    EXPECT_EQ(seen.audioCodec, "");
  }
}

TEST_F(Videos, KeepAnUnevenRhythm) {
  const fs::path uneven = channel.folder() / "uneven.mp4";
  outputOf({"ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=64x48:r=30",
            "-vf", "select='not(between(mod(n,10),3,6))'", "-fps_mode", "vfr", "-t", "2", "-c:v",
            "libx264", "-pix_fmt", "yuv420p", uneven});
  channel.use(channel.libraryOf({uneven}));
  const auto times = [](const fs::path& file) {
    return outputOf({"ffprobe", "-v", "error", "-select_streams", "v", "-show_entries",
                     "frame=pts_time", "-of", "csv=p=0", file});
  };
  EXPECT_EQ(times(channel.video("uneven.mp4", Format::mp4)), times(uneven));
}

TEST_F(Videos, KeepEverySoundInItsLanguage) {
  const fs::path dubbed = channel.folder() / "dubbed.mp4";
  outputOf({"ffmpeg",
            "-nostdin",
            "-v",
            "error",
            "-f",
            "lavfi",
            "-i",
            "testsrc2=s=64x48:r=30",
            "-f",
            "lavfi",
            "-i",
            "sine=440:r=48000",
            "-f",
            "lavfi",
            "-i",
            "sine=880:r=48000",
            "-map",
            "0",
            "-map",
            "1",
            "-map",
            "2",
            "-t",
            "1",
            "-c:v",
            "libx264",
            "-pix_fmt",
            "yuv420p",
            "-c:a",
            "aac",
            "-metadata:s:a:0",
            "language=eng",
            "-metadata:s:a:1",
            "language=fra",
            dubbed});
  channel.use(channel.libraryOf({dubbed}));
  for (const Format format : {Format::mov, Format::mp4}) {
    for (const bool medium : {false, true}) {
      EXPECT_EQ(outputOf({"ffprobe", "-v", "error", "-select_streams", "a", "-show_entries",
                          "stream=codec_name:stream_tags=language", "-of", "csv=p=0",
                          channel.video("dubbed.mp4", format, medium)}),
                "aac,eng\naac,fra\n");
    }
  }
}

TEST_F(Videos, OfFieldsBecomeWholePictures) {
  const fs::path fields = channel.folder() / "fields.mp4";
  outputOf({"ffmpeg",       "-nostdin",    "-v",       "error",
            "-f",           "lavfi",       "-i",       "testsrc2=s=160x128:r=50",
            "-t",           "1",           "-vf",      "tinterlace=interleave_top,setfield=tff",
            "-flags",       "+ilme+ildct", "-c:v",     "libx264",
            "-x264-params", "tff=1",       "-pix_fmt", "yuv420p",
            fields});
  const fs::path whole = channel.folder() / "whole.mp4";
  outputOf({"ffmpeg", "-nostdin", "-v", "error", "-i", fields, "-vf", "bwdif=mode=send_frame",
            "-c:v", "libx264", "-qp", "0", whole});
  channel.use(channel.libraryOf({fields}));
  const fs::path file = channel.video("fields.mp4", Format::mov);
  EXPECT_EQ(seeVideo(file).frames, 25);
  EXPECT_GT(psnr(file, whole), 35);
}

TEST_F(Videos, OfLongNamesFailWhereTheFileSystemDoesNotTakeThem) {
  const std::string withExtension = std::string(251, 'v') + ".mp4";
  const std::string without(255, 'w');
  fs::copy(kGoodMedia / "CLIP.mp4", channel.folder() / withExtension);
  fs::copy(kGoodMedia / "MOVIE.mov", channel.folder() / without);
  channel.use(channel.libraryOf({channel.folder() / withExtension, channel.folder() / without}),
              channel.temporary());
  EXPECT_EQ(channel.video(withExtension, Format::mov, true).filename(),
            std::string(251, 'v') + ".mov");
  const FlutterError tooLong =
      channel.error("getVideoUrl", videoFile(channel.asset(without), Format::mov));
  EXPECT_EQ(tooLong.message, "Export failed");
  EXPECT_NE(tooLong.details.text(), "");
  EXPECT_EQ(filesIn(channel.temporary()).size(), 1u);
}

TEST_F(Videos, WhoseNamesAreDotsKeepThem) {
  channel.useCopy([](const std::string& library) {
    outputOf({"sqlite3", library + "/library.sqlite",
              "UPDATE resources SET name = '..' WHERE name = 'CLIP.mp4';"
              "UPDATE resources SET name = '.mov' WHERE name = 'TURNED.mp4'"});
  });
  EXPECT_EQ(channel.video("..", Format::mov).filename(), "...mov");
  EXPECT_EQ(channel.video(".mov", Format::mov).filename(), ".mov.mov");
  EXPECT_EQ(filesIn(channel.temporary()),
            (std::vector<std::string>{"video/...mov", "video/.mov.mov"}));
}

TEST_F(Videos, LeaveNothingBehindWhenTheEngineEndsBefore) {
  const Answer* answer = nullptr;
  {
    const EnginePointer ended = channel.engines.openLibrary(QUORVIN_IMPORTED_LIBRARY);
    answer = &channel.engines.call(ended.get(), "getVideoUrl",
                                   videoFile(channel.asset("MOVIE.mov"), Format::mov));
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (filesIn(channel.temporary()).empty() && std::chrono::steady_clock::now() < limit) {
      std::this_thread::yield();
    }
  }
  EXPECT_EQ(answer->count, 1);
  const auto files = filesIn(channel.temporary());
  EXPECT_TRUE(files.empty() || files == std::vector<std::string>{"video/MOVIE.mov"})
      << files.front();
  if (!files.empty()) {
    EXPECT_EQ(seeVideo(channel.temporary() / files[0]).frames, 60);
  }
}

}  // namespace
}  // namespace quorvin
