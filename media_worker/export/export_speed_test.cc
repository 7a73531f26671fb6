// Exports that play parts of the source at other speeds.
#include <gtest/gtest.h>

#include <cmath>
#include <utility>

#include "media_protocol/sealed_memory.h"
#include "media_worker/export/export.h"
#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

using std::chrono::milliseconds;

/// One second as it is, one four times as slow, one as it is.
const TimeMap kSlowMiddle{{milliseconds(0), milliseconds(1000), milliseconds(1000)},
                          {milliseconds(1000), milliseconds(1000), milliseconds(4000)},
                          {milliseconds(2000), milliseconds(1000), milliseconds(1000)}};

FileDescriptor fastFilm() {
  return movie(film(120) + "-c:v libx264 -bf 2 -c:a aac");
}

/// The export, which must succeed.
FileDescriptor played(const FileDescriptor& source, VideoPreset preset, const TimeMap& map) {
  Exported result = exported(source, preset, kMov, map);
  EXPECT_EQ(result.reason(), "");
  return std::move(result.file);
}

/// Thirty frames of the source a second, at half the speed.
void expectHalfSpeed(const std::vector<Shown>& frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_NEAR(frames[i].time, static_cast<double>(i) * 2 / 30, 0.002);
  }
}

double slowed(double time) {
  if (time < 1) return time;
  return time < 2 ? 1 + (time - 1) * 4 : time + 3;
}

TEST(ExportSpeed, CopiesPicturesAtNewTimes) {
  const FileDescriptor source = fastFilm();
  const FileDescriptor result = played(source, kPassthrough, kSlowMiddle);
  const TestMovie before = contentsOf(source);
  const TestMovie after = contentsOf(result);
  EXPECT_NEAR(after.duration, 6, 0.01);
  ASSERT_EQ(before.picture().packets.size(), after.picture().packets.size());
  double decoded = -1;
  for (std::size_t i = 0; i < before.picture().packets.size(); ++i) {
    const TestPacket& packet = after.picture().packets[i];
    EXPECT_EQ(packet.bytes, before.picture().packets[i].bytes);
    EXPECT_NEAR(packet.time, slowed(before.picture().packets[i].time), 0.0005);
    EXPECT_GT(packet.decoded, decoded);
    EXPECT_LE(packet.decoded, packet.time + 1e-6);
    decoded = packet.decoded;
  }
}

TEST(ExportSpeed, EncodesPicturesAtNewTimes) {
  const FileDescriptor source = fastFilm();
  const FileDescriptor result = played(source, kHighest, kSlowMiddle);
  const auto before = shown(source);
  const auto after = shown(result);
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_NEAR(after[i].time, slowed(before[i].time), 0.0005);
  }
  EXPECT_NEAR(contentsOf(result).duration, 6, 0.01);
}

TEST(ExportSpeed, StretchesSoundAndKeepsItsPitch) {
  for (const VideoPreset preset : {kPassthrough, kHighest}) {
    const auto samples = heard(played(fastFilm(), preset, kSlowMiddle));
    EXPECT_NEAR(static_cast<double>(samples.size()) / 48'000, 6, 0.03);
    EXPECT_NEAR(pitch(samples, 48'000, 0.2, 0.8), 440, 5);
    EXPECT_NEAR(pitch(samples, 48'000, 1.5, 4.5), 440, 10);
    EXPECT_NEAR(pitch(samples, 48'000, 5.2, 5.8), 440, 5);
  }
}

TEST(ExportSpeed, StretchesEveryChannel) {
  const FileDescriptor source = movie(
      "-f lavfi -i testsrc2=s=160x120:r=120 -f lavfi -i "
      "\"aevalsrc=0.3*sin(880*PI*t)|0.3*sin(1760*PI*t):s=48000\" -t 3 -preset ultrafast "
      "-pix_fmt yuv420p -c:v libx264 -c:a aac");
  const FileDescriptor result = played(source, kPassthrough, kSlowMiddle);
  EXPECT_EQ(contentsOf(result).sound().channels, 2);
  for (const int channel : {0, 1}) {
    const auto samples = heard(result, channel);
    EXPECT_NEAR(static_cast<double>(samples.size()) / 48'000, 6, 0.03);
    EXPECT_NEAR(pitch(samples, 48'000, 1.5, 4.5), channel == 0 ? 440 : 880, 20);
    EXPECT_NEAR(pitch(samples, 48'000, 5.2, 5.8), channel == 0 ? 440 : 880, 5);
  }
}

TEST(ExportSpeed, PlaysFasterToo) {
  const TimeMap map{{milliseconds(0), milliseconds(3000), milliseconds(1000)}};
  const FileDescriptor result = played(fastFilm(), kPassthrough, map);
  EXPECT_NEAR(contentsOf(result).duration, 1, 0.01);
  EXPECT_NEAR(pitch(heard(result), 48'000, 0.2, 0.8), 440, 10);
  EXPECT_EQ(shown(result).size(), 360U);
}

TEST(ExportSpeed, KeepsSoundWithPicturesAtEveryJoint) {
  // A tone that begins with the third second.
  const FileDescriptor source =
      movie(film(120) + "-af \"volume=0:enable='lt(t,2)'\" -c:v libx264 -c:a pcm_s16le");
  EXPECT_NEAR(onset(heard(played(source, kHighest, kSlowMiddle)), 48'000), 5, 0.03);
}

TEST(ExportSpeed, PlaysOnlyWhatASegmentCovers) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -g 30 -bf 2 -c:a aac");
  const TimeMap middle{{milliseconds(1200), milliseconds(1000), milliseconds(2000)}};
  const auto before = shown(source);
  for (const VideoPreset preset : {kPassthrough, kHighest}) {
    const FileDescriptor result = played(source, preset, middle);
    EXPECT_NEAR(contentsOf(result).duration, 2, 0.04);
    const auto after = shown(result);
    ASSERT_EQ(after.size(), 30U);
    expectHalfSpeed(after);
    EXPECT_GT(psnr({after[0]}, {before[36]}), 30);
    EXPECT_NEAR(static_cast<double>(heard(result).size()) / 48'000, 2, 0.03);
  }
}

TEST(ExportSpeed, HidesCopiedPicturesBeforeTheFirstThatPlays) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -g 30 -bf 2 -c:a aac");
  const TimeMap end{{milliseconds(1200), milliseconds(1800), milliseconds(3600)}};
  const FileDescriptor result = played(source, kPassthrough, end);
  const TestMovie before = contentsOf(source);
  const TestMovie found = contentsOf(result);
  EXPECT_EQ(found.picture().packets.back().bytes, before.picture().packets.back().bytes);
  EXPECT_NEAR(found.duration, 3.6, 0.01);
  const auto all = shown(source);
  const auto after = shown(result);
  ASSERT_EQ(after.size(), 54U);
  expectHalfSpeed(after);
  for (std::size_t i = 0; i < after.size(); ++i) {
    EXPECT_EQ(after[i].picture.pixels, all[36 + i].picture.pixels);
  }
}

TEST(ExportSpeed, ReadsNoFurtherThanItMust) {
  const FileDescriptor source = movie(
      "-f lavfi -i testsrc2=s=160x120:r=30 -f lavfi -i sine -t 60 -preset ultrafast "
      "-pix_fmt yuv420p -c:v libx264 -g 30 -c:a aac");
  const TimeMap start{{milliseconds(30'000), milliseconds(1000), milliseconds(1000)}};
  int calls = 0;
  const FileDescriptor output = makeMemoryFile(0);
  ASSERT_FALSE(exportVideo(source.get(), output.get(), {kHighest, kMov, true, start},
                           [&calls](std::int64_t) { ++calls; }));
  // Four seconds of pictures and sounds, at most.
  EXPECT_LT(calls, 600);
  EXPECT_EQ(shown(output).size(), 30U);
  EXPECT_NEAR(pitch(heard(output), 44'100, 0.2, 0.8), 440, 5);
}

TEST(ExportSpeed, JoinsPartsBetweenWhichSomethingIsLeftOut) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -c:a aac");
  const TimeMap ends{{milliseconds(0), milliseconds(500), milliseconds(500)},
                     {milliseconds(2500), milliseconds(500), milliseconds(500)}};
  for (const VideoPreset preset : {kPassthrough, kHighest}) {
    const FileDescriptor result = played(source, preset, ends);
    const auto after = shown(result);
    ASSERT_EQ(after.size(), 30U);
    EXPECT_NEAR(after.back().time, 29.0 / 30, 0.002);
    EXPECT_NEAR(static_cast<double>(heard(result).size()) / 48'000, 1, 0.03);
  }
}

TEST(ExportSpeed, FollowsManySegments) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -bf 2 -c:a aac");
  TimeMap map;
  for (int i = 0; i < 1000; ++i) {
    map.push_back({milliseconds(3 * i), milliseconds(3), milliseconds(i % 2 == 0 ? 3 : 6)});
  }
  const FileDescriptor result = played(source, kPassthrough, map);
  EXPECT_NEAR(contentsOf(result).duration, 4.5, 0.02);
  EXPECT_EQ(shown(result).size(), 90U);
}

TEST(ExportSpeed, EndsSoundThatIsShorterThanThePicturesWhereItEnds) {
  const FileDescriptor source = movie(
      "-f lavfi -i testsrc2=s=160x120:r=120:d=3 -f lavfi -i sine=440:r=48000:d=1.5 -preset "
      "ultrafast "
      "-pix_fmt yuv420p -c:v libx264 -c:a pcm_s16le");
  const FileDescriptor result = played(source, kPassthrough, kSlowMiddle);
  EXPECT_NEAR(contentsOf(result).picture().duration, 6, 0.01);
  EXPECT_NEAR(contentsOf(result).sound().duration, 3, 0.03);
}

}  // namespace
}  // namespace quorvin
