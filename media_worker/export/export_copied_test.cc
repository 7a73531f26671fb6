// Exports whose tracks are copied.
#include <gtest/gtest.h>

#include <cmath>

#include "media_protocol/sealed_memory.h"
#include "media_worker/export/export.h"
#include "testing/media/coded_films.h"
#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

/// The same packets at the same times, and the same pictures and sounds at the same times.
void expectSamePlay(const FileDescriptor& source, const FileDescriptor& copy) {
  const TestMovie a = contentsOf(source);
  const TestMovie b = contentsOf(copy);
  EXPECT_NEAR(a.duration, b.duration, 0.0015);
  ASSERT_EQ(a.tracks.size(), b.tracks.size());
  for (std::size_t i = 0; i < a.tracks.size(); ++i) {
    const TestTrack& one = a.tracks[i];
    const TestTrack& other = b.tracks[i];
    EXPECT_EQ(one.codec, other.codec);
    EXPECT_NEAR(one.beginning, other.beginning, 0.0005);
    EXPECT_NEAR(one.duration, other.duration, 0.0015);
    EXPECT_EQ(one.orientation, other.orientation);
    ASSERT_EQ(one.packets.size(), other.packets.size());
    for (std::size_t j = 0; j < one.packets.size(); ++j) {
      EXPECT_EQ(one.packets[j].bytes, other.packets[j].bytes);
      EXPECT_NEAR(one.packets[j].time, other.packets[j].time, 0.0005);
    }
  }
  const auto before = shown(source);
  const auto after = shown(copy);
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_NEAR(before[i].time, after[i].time, 0.0005);
    EXPECT_EQ(before[i].picture.pixels, after[i].picture.pixels);
  }
}

TEST(ExportCopied, KeepsEveryPacketAndItsTime) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -bf 2 -c:a aac");
  for (const VideoContainer container : {kMov, kMp4}) {
    const Exported result = exported(source, kPassthrough, container);
    ASSERT_EQ(result.reason(), "");
    expectSamePlay(source, result.file);
    EXPECT_EQ(heard(result.file), heard(source));
  }
}

TEST(ExportCopied, PutsTheIndexFirstWhenAsked) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -c:a aac");
  const Exported result = exported(source, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  const std::string boxes = boxesOf(result.file);
  EXPECT_LT(boxes.find("moov"), boxes.find("mdat")) << boxes;
  EXPECT_EQ(contentsOf(result.file).brand, "qt  ");
}

TEST(ExportCopied, PutsTheIndexLastWhenNotAsked) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -c:a aac");
  const FileDescriptor output = makeMemoryFile(0);
  ASSERT_FALSE(exportVideo(source.get(), output.get(), {kPassthrough, kMov, false, {}},
                           [](std::int64_t) {}));
  const std::string boxes = boxesOf(output);
  EXPECT_GT(boxes.find("moov"), boxes.find("mdat")) << boxes;
  expectSamePlay(source, output);
}

TEST(ExportCopied, NamesTheBrandOfTheContainerAndNotOfTheSource) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -c:a aac");
  EXPECT_EQ(contentsOf(exported(source, kPassthrough, kMp4).file).brand, "isom");
}

TEST(ExportCopied, KeepsWhatAnEditListHides) {
  const FileDescriptor whole = movie(film() + "-c:v libx264 -g 30 -bf 2 -c:a aac");
  const FileDescriptor cut = movie("-ss 1.5 -i " + nameOf(whole) + " -t 1 -c copy");
  const Exported result = exported(cut, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  const auto before = shown(cut);
  const auto after = shown(result.file);
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(before[i].picture.pixels, after[i].picture.pixels);
    EXPECT_NEAR(before[i].time, after[i].time, 0.0005);
  }
  EXPECT_EQ(heard(result.file), heard(cut));
}

TEST(ExportCopied, KeepsLateSoundLateAndLatePicturesLate) {
  const FileDescriptor base = movie(film() + "-c:v libx264 -bf 2 -c:a aac");
  const std::string name = nameOf(base);
  for (const std::string& inputs :
       {"-i " + name + " -itsoffset 0.4 -i " + name, "-itsoffset 0.4 -i " + name + " -i " + name}) {
    const FileDescriptor source = movie(inputs + " -map 0:v -map 1:a -c copy");
    const Exported result = exported(source, kPassthrough);
    ASSERT_EQ(result.reason(), "");
    EXPECT_NEAR(contentsOf(source).picture().beginning, contentsOf(result.file).picture().beginning,
                0.0005);
    EXPECT_EQ(shown(result.file).front().time, shown(source).front().time);
    EXPECT_NEAR(onset(heard(result.file), 48'000), onset(heard(source), 48'000), 0.0005);
  }
}

TEST(ExportCopied, KeepsUnevenTimesOfFrames) {
  const FileDescriptor source =
      movie(film() +
            "-vf \"select='not(mod(n\\,3))+lt(mod(n\\,10)\\,4)'\" -fps_mode vfr -c:v libx264 "
            "-c:a aac");
  const Exported result = exported(source, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  expectSamePlay(source, result.file);
}

TEST(ExportCopied, KeepsTheTurnOfEveryDisplayMatrix) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const FileDescriptor source = fileOf(video(
        std::vector(10, stored(quadrants(96, 64), orientation)), {.orientation = orientation}));
    const Exported result = exported(source, kPassthrough);
    ASSERT_EQ(result.reason(), "");
    EXPECT_EQ(contentsOf(result.file).picture().orientation, orientation);
  }
}

TEST(ExportCopied, NamesHevcAsPhonesKnowIt) {
  const FileDescriptor source =
      movie(film() + "-c:v libx265 -x265-params log-level=none -tag:v hev1 -c:a aac", "mp4");
  ASSERT_EQ(contentsOf(source).picture().tag, "hev1");
  for (const VideoContainer container : {kMov, kMp4}) {
    const Exported result = exported(source, kPassthrough, container);
    ASSERT_EQ(result.reason(), "");
    EXPECT_EQ(contentsOf(result.file).picture().tag, "hvc1");
    expectSamePlay(source, result.file);
  }
}

TEST(ExportCopied, KeepsDatePlaceAndCamera) {
  const FileDescriptor source =
      movie(film() +
            "-c:v libx264 -c:a aac -movflags use_metadata_tags -metadata "
            "creation_time=2023-07-14T10:20:30Z -metadata location=+48.2000+016.3000/ -metadata "
            "com.example.quicktime.content.identifier=ABC -metadata make=Example");
  const Exported result = exported(source, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  auto tags = contentsOf(result.file).tags;
  EXPECT_EQ(tags["creation_time"].substr(0, 19), "2023-07-14T10:20:30");
  EXPECT_EQ(tags["location"], "+48.2000+016.3000/");
  EXPECT_EQ(tags["com.example.quicktime.content.identifier"], "ABC");
  EXPECT_EQ(tags["make"], "Example");
}

TEST(ExportCopied, KeepsDateAndPlaceWithoutATableOfTags) {
  const FileDescriptor source =
      movie(film() +
            "-c:v libx264 -c:a aac -metadata creation_time=2023-07-14T10:20:30Z "
            "-metadata location=+48.2000+016.3000/");
  for (const VideoContainer container : {kMov, kMp4}) {
    auto tags = contentsOf(exported(source, kPassthrough, container).file).tags;
    EXPECT_EQ(tags["creation_time"].substr(0, 19), "2023-07-14T10:20:30");
    EXPECT_EQ(tags["location"], "+48.2000+016.3000/");
  }
}

TEST(ExportCopied, TakesOverEverySoundAndNothingElse) {
  const FileDescriptor source =
      movie(film(30, "-f lavfi -i sine=880:r=44100") +
            "-map 0 -map 1 -map 2 -c:v libx264 -c:a:0 aac -c:a:1 pcm_s16le -timecode 01:02:03:04 "
            "-metadata:s:a:1 language=eng");
  const Exported result = exported(source, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  const TestMovie found = contentsOf(result.file);
  ASSERT_EQ(found.tracks.size(), 3U);
  EXPECT_EQ(found.tracks[0].codec, "h264");
  EXPECT_EQ(found.tracks[1].codec, "aac");
  EXPECT_EQ(found.tracks[2].codec, "pcm_s16le");
  EXPECT_EQ(found.tracks[2].language, "eng");
}

TEST(ExportCopied, ReadsOtherContainersFromTheirBeginning) {
  for (const char* extension : {"ts", "mkv", "avi"}) {
    const FileDescriptor source =
        movie(film() + "-c:v " + (std::string(extension) == "avi" ? "mpeg4" : "libx264 -bf 2") +
                  " -c:a aac",
              extension);
    const Exported result = exported(source, kPassthrough);
    ASSERT_EQ(result.reason(), "") << extension;
    const auto before = shown(source);
    const auto after = shown(result.file);
    ASSERT_EQ(before.size(), after.size()) << extension;
    for (std::size_t i = 0; i < before.size(); ++i) {
      EXPECT_EQ(before[i].picture.pixels, after[i].picture.pixels);
      EXPECT_NEAR(before[i].time - before[0].time, after[i].time - after[0].time, 0.002);
    }
    EXPECT_LT(after[0].time, 0.1) << extension;
  }
}

TEST(ExportCopied, ReadsAFragmentedMovie) {
  const FileDescriptor source =
      movie(film() + "-c:v libx264 -bf 2 -c:a aac -movflags frag_keyframe+empty_moov", "mp4");
  const Exported result = exported(source, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  EXPECT_EQ(boxesOf(result.file).find("moof"), std::string::npos);
  EXPECT_EQ(shown(result.file).size(), shown(source).size());
}

TEST(ExportCopied, EncodesOnlyTheTrackThatTheContainerRefuses) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -bf 0 -c:a flac", "mkv");
  const Exported result = exported(source, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  const TestMovie found = contentsOf(result.file);
  EXPECT_EQ(found.sound().codec, "aac");
  const TestMovie before = contentsOf(source);
  ASSERT_EQ(found.picture().packets.size(), before.picture().packets.size());
  for (std::size_t i = 0; i < before.picture().packets.size(); ++i) {
    EXPECT_EQ(found.picture().packets[i].bytes, before.picture().packets[i].bytes);
  }
}

TEST(ExportCopied, CopiesPlainSamplesIntoQuickTimeAndEncodesThemForMpeg4) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -c:a pcm_s16le");
  EXPECT_EQ(contentsOf(exported(source, kPassthrough, kMov).file).sound().codec, "pcm_s16le");
  EXPECT_EQ(contentsOf(exported(source, kPassthrough, kMp4).file).sound().codec, "aac");
}

TEST(ExportCopied, EncodesPicturesThatQuickTimeRefuses) {
  const FileDescriptor source =
      movie(film() + "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -c:a libopus", "webm");
  const Exported mov = exported(source, kPassthrough, kMov);
  ASSERT_EQ(mov.reason(), "");
  EXPECT_EQ(contentsOf(mov.file).picture().codec, "h264");
  EXPECT_EQ(contentsOf(mov.file).sound().codec, "aac");
  EXPECT_EQ(shown(mov.file).size(), shown(source).size());
  const Exported mp4 = exported(source, kPassthrough, kMp4);
  ASSERT_EQ(mp4.reason(), "");
  EXPECT_EQ(contentsOf(mp4.file).picture().codec, "vp9");
  EXPECT_EQ(contentsOf(mp4.file).sound().codec, "opus");
}

}  // namespace
}  // namespace quorvin
