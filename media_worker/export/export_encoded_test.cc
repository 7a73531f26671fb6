// Exports whose tracks are encoded again.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "testing/media/coded_films.h"
#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

/// The same number of frames at the same times.
void expectSameTimes(const FileDescriptor& source, const FileDescriptor& result) {
  const auto before = shown(source);
  const auto after = shown(result);
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_NEAR(before[i].time, after[i].time, 0.0015) << i;
  }
}

TEST(ExportEncoded, IsHardToTellFromTheSourceAtHighestQuality) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -crf 10 -bf 2 -c:a aac");
  for (const VideoContainer container : {kMov, kMp4}) {
    const Exported result = exported(source, kHighest, container);
    ASSERT_EQ(result.reason(), "");
    const TestMovie found = contentsOf(result.file);
    EXPECT_EQ(found.picture().codec, "h264");
    EXPECT_EQ(found.picture().profile, FF_PROFILE_H264_HIGH);
    EXPECT_EQ(found.sound().codec, "aac");
    EXPECT_NEAR(found.duration, contentsOf(source).duration, 0.0015);
    EXPECT_NEAR(found.picture().duration, contentsOf(source).picture().duration, 0.0015);
    EXPECT_NEAR(found.sound().duration, contentsOf(source).sound().duration, 0.0015);
    expectSameTimes(source, result.file);
    EXPECT_GT(psnr(shown(source), shown(result.file)), 34);
    const std::string boxes = boxesOf(result.file);
    EXPECT_LT(boxes.find("moov"), boxes.find("mdat")) << boxes;
  }
}

TEST(ExportEncoded, KeepsUnevenTimesOfFrames) {
  const FileDescriptor source =
      movie(film() +
            "-vf \"select='not(mod(n\\,3))+lt(mod(n\\,10)\\,4)'\" -fps_mode vfr -c:v libx264 "
            "-c:a aac");
  for (const VideoPreset preset : {kHighest, kMedium}) {
    const Exported result = exported(source, preset);
    ASSERT_EQ(result.reason(), "");
    expectSameTimes(source, result.file);
  }
}

class ExportTurned : public testing::TestWithParam<int> {};

TEST_P(ExportTurned, StandsUprightWithoutADisplayMatrix) {
  const FileDescriptor source = fileOf(
      video(std::vector(5, stored(quadrants(192, 128), GetParam())), {.orientation = GetParam()}));
  const Exported result = exported(source, kHighest);
  ASSERT_EQ(result.reason(), "");
  EXPECT_EQ(contentsOf(result.file).picture().orientation, 1);
  const auto frames = shown(result.file);
  ASSERT_EQ(frames.size(), 5U);
  ASSERT_EQ(frames[0].picture.width, 192);
  ASSERT_EQ(frames[0].picture.height, 128);
  expectQuadrants(frames[0].picture, 30);
}

INSTANTIATE_TEST_SUITE_P(Orientations, ExportTurned, testing::Range(1, 9));

TEST(ExportEncoded, MakesPixelsSquareBeforeItTurns) {
  const FileDescriptor source =
      fileOf(video(std::vector(5, stored(quadrants(128, 144), 6)),
                   {.orientation = 6, .aspectWidth = 4, .aspectHeight = 3}));
  const auto frames = shown(exported(source, kHighest).file);
  ASSERT_EQ(frames.size(), 5U);
  EXPECT_EQ(frames[0].picture.width, 128);
  EXPECT_EQ(frames[0].picture.height, 192);
  expectQuadrants(frames[0].picture, 30);
}

TEST(ExportEncoded, CutsOddSizesToEvenOnes) {
  const FileDescriptor source =
      movie(film() + "-vf scale=161:121 -pix_fmt yuv444p -c:v libx264 -crf 10 -c:a aac");
  const Exported result = exported(source, kHighest);
  ASSERT_EQ(result.reason(), "");
  EXPECT_EQ(contentsOf(result.file).picture().width, 160);
  EXPECT_EQ(contentsOf(result.file).picture().height, 120);
}

struct Size {
  const char* source;
  int width;
  int height;
};

class ExportSmall : public testing::TestWithParam<Size> {};

TEST_P(ExportSmall, FitsIntoAFewPixels) {
  const FileDescriptor source = movie("-f lavfi -i testsrc2=s=" + std::string(GetParam().source) +
                                      ":r=10 -t 1 -preset ultrafast -pix_fmt yuv420p -c:v libx264");
  const Exported result = exported(source, kMedium);
  ASSERT_EQ(result.reason(), "");
  EXPECT_EQ(contentsOf(result.file).picture().width, GetParam().width);
  EXPECT_EQ(contentsOf(result.file).picture().height, GetParam().height);
  EXPECT_EQ(contentsOf(result.file).picture().profile, FF_PROFILE_H264_MAIN);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ExportSmall,
                         testing::Values(Size{"1280x720", 568, 320}, Size{"720x1280", 320, 568},
                                         Size{"1280x960", 480, 360}, Size{"960x960", 360, 360},
                                         Size{"2560x640", 568, 142}, Size{"320x180", 320, 180}));

TEST(ExportEncoded, TakesFewBytesAtMediumQuality) {
  const FileDescriptor source = movie(
      "-f lavfi -i testsrc2=s=640x360:r=15 -f lavfi -i sine -t 8 -vf noise=alls=40:allf=t "
      "-preset ultrafast -crf 20 -pix_fmt yuv420p -c:v libx264 -c:a aac");
  const Exported result = exported(source, kMedium);
  ASSERT_EQ(result.reason(), "");
  EXPECT_LT(static_cast<double>(contents(result.file).size()) * 8 / 8, 1'000'000);
}

TEST(ExportEncoded, TakesNoMoreBytesThanTheFfmpegProgramWithTheSameSettings) {
  const FileDescriptor source = movie(
      "-f lavfi -i testsrc2=s=640x360:r=30 -f lavfi -i sine -t 2 -vf noise=alls=2:allf=t "
      "-preset ultrafast -crf 10 -pix_fmt yuv420p -c:v libx264 -c:a aac");
  const Exported result = exported(source, kMedium);
  ASSERT_EQ(result.reason(), "");
  const std::string scaled =
      "-i " + nameOf(source) + " -vf scale=568:320:flags=bicubic -c:v libx264 ";
  const FileDescriptor rival =
      movie(scaled +
            "-preset fast -profile:v main -crf 23 -maxrate 800k -bufsize 800k -c:a aac "
            "-b:a 32k -movflags +faststart");
  // The number of threads makes a difference of some bytes, and the sound ends more exactly.
  EXPECT_LT(contents(result.file).size(), contents(rival).size() * 1003 / 1000);
  const auto best = shown(movie(scaled + "-an -preset ultrafast -qp 0"));
  EXPECT_GT(psnr(shown(result.file), best), psnr(shown(rival), best) - 0.05);
}

TEST(ExportEncoded, KeepsTheTagsOfColours) {
  const FileDescriptor source =
      movie(film() +
            "-vf setparams=color_primaries=smpte170m:color_trc=smpte170m:colorspace=smpte170m "
            "-c:v libx264 -c:a aac");
  const TestTrack track = contentsOf(exported(source, kHighest).file).picture();
  EXPECT_EQ(track.primaries, AVCOL_PRI_SMPTE170M);
  EXPECT_EQ(track.transfer, AVCOL_TRC_SMPTE170M);
  EXPECT_EQ(track.matrix, AVCOL_SPC_SMPTE170M);
}

TEST(ExportEncoded, NamesTheMatrixThatASmallerExportHasFromItsSource) {
  for (const auto& [size, matrix, code] :
       {std::tuple{"1280x720", "bt709", AVCOL_SPC_BT709},
        std::tuple{"640x360", "smpte170m", AVCOL_SPC_SMPTE170M}}) {
    const FileDescriptor source =
        movie("-f lavfi -i color=red:s=" + std::string(size) +
              ":r=10:d=1 -vf scale=out_color_matrix=" + matrix +
              ",format=yuv420p,setparams=colorspace=unknown -c:v libx264 -crf 10");
    ASSERT_EQ(contentsOf(source).picture().matrix, AVCOL_SPC_UNSPECIFIED);
    const Exported result = exported(source, kMedium);
    ASSERT_EQ(result.reason(), "");
    EXPECT_EQ(contentsOf(result.file).picture().matrix, code) << size;
    EXPECT_TRUE(isNear(shown(result.file).front().picture.at(100, 100), {254, 0, 0, 255}, 4));
  }
}

TEST(ExportEncoded, BringsFullRangeColoursIntoTheCommonRange) {
  const FileDescriptor source =
      movie(film() +
            "-vf scale=out_range=pc,format=yuvj420p -color_range pc -c:v libx264 -crf 10 -c:a aac");
  const auto before = shown(source);
  const auto after = shown(exported(source, kHighest).file);
  EXPECT_GT(psnr(before, after), 34);
}

TEST(ExportEncoded, BringsTheLightOfHdrIntoTheCommonRange) {
  const std::string grey =
      "-f lavfi -i color=gray:s=64x64:r=10:d=1 -vf "
      "\"format=yuv444p,setparams=color_primaries=bt709:"
      "color_trc=bt709:colorspace=bt709:range=tv,zscale=t=linear:npl=203,format=gbrpf32le,"
      "zscale=p=2020:t=";
  for (const std::string curve : {"smpte2084", "arib-std-b67"}) {
    const FileDescriptor source =
        movie(grey + curve +
              ":m=2020_ncl:r=limited:npl=203,format=yuv420p10le\" -c:v libx265 "
              "-preset ultrafast -x265-params "
              "log-level=none:colorprim=bt2020:colormatrix=bt2020nc:transfer=" +
              curve);
    const Exported result = exported(source, kHighest);
    ASSERT_EQ(result.reason(), "");
    const TestTrack track = contentsOf(result.file).picture();
    EXPECT_EQ(track.transfer, AVCOL_TRC_BT709);
    EXPECT_EQ(track.primaries, AVCOL_PRI_BT709);
    EXPECT_EQ(track.matrix, AVCOL_SPC_BT709);
    EXPECT_TRUE(isNear(shown(result.file).front().picture.at(32, 32), {126, 126, 126, 255}, 16));
  }
}

TEST(ExportEncoded, MixesManyChannelsIntoTwo) {
  const FileDescriptor source = movie(film() + "-c:v libx264 -ac 6 -c:a aac");
  const Exported result = exported(source, kHighest);
  ASSERT_EQ(result.reason(), "");
  EXPECT_EQ(contentsOf(result.file).sound().channels, 2);
}

TEST(ExportEncoded, TakesSoundOfAnyRate) {
  for (const int rate : {8000, 44'100, 96'000}) {
    const FileDescriptor source =
        movie(film() + "-c:v libx264 -ar " + std::to_string(rate) + " -c:a pcm_s16le");
    const Exported result = exported(source, kHighest);
    ASSERT_EQ(result.reason(), "");
    const int kept = rate == 96'000 ? 48'000 : rate;
    EXPECT_EQ(contentsOf(result.file).sound().sampleRate, kept);
    EXPECT_NEAR(pitch(heard(result.file), kept, 0.5, 2.5), 440, 2);
  }
}

TEST(ExportEncoded, KeepsPicturesAndSoundTogether) {
  const FileDescriptor base = movie(film() + "-c:v libx264 -bf 2 -c:a aac");
  const std::string name = nameOf(base);
  for (const std::string& inputs :
       {"-i " + name + " -itsoffset 0.4 -i " + name, "-itsoffset 0.4 -i " + name + " -i " + name}) {
    const FileDescriptor source = movie(inputs + " -map 0:v -map 1:a -c copy");
    const Exported result = exported(source, kHighest);
    ASSERT_EQ(result.reason(), "");
    EXPECT_NEAR(shown(result.file).front().time, shown(source).front().time, 0.0005);
    EXPECT_NEAR(onset(heard(result.file), 48'000), onset(heard(source), 48'000), 0.003);
  }
}

TEST(ExportEncoded, FillsGapsInTheSound) {
  const FileDescriptor source =
      movie(film() + "-af \"aselect='lt(t\\,1)+gt(t\\,2)'\" -c:v libx264 -c:a pcm_s16le", "mkv");
  const Exported result = exported(source, kHighest);
  ASSERT_EQ(result.reason(), "");
  const auto samples = heard(result.file);
  EXPECT_NEAR(static_cast<double>(samples.size()) / 48'000, 3, 0.05);
  EXPECT_EQ(pitch(samples, 48'000, 1.2, 1.8), 0);
  EXPECT_NEAR(pitch(samples, 48'000, 2.2, 2.8), 440, 4);
}

TEST(ExportEncoded, JoinsRecordingsOfDifferentKinds) {
  const std::string codecs = "-t 1 -c:v mpeg2video -c:a mp2 -ar ";
  Bytes bytes = contents(movie(film() + codecs + "48000", "ts"));
  const Bytes second = contents(movie(film() + codecs + "44100 -vf scale=320:240", "ts"));
  bytes.insert(bytes.end(), second.begin(), second.end());
  for (const VideoPreset preset : {kHighest, kMedium}) {
    const Exported result = exported(fileOf(bytes), preset);
    ASSERT_EQ(result.reason(), "");
    EXPECT_NEAR(contentsOf(result.file).duration, 2, 0.1);
    const auto frames = shown(result.file);
    EXPECT_NEAR(static_cast<double>(frames.size()), 60, 2);
    for (const Shown& each : frames) EXPECT_EQ(each.picture.width, 160);
    EXPECT_NEAR(pitch(heard(result.file), 48'000, 0.2, 0.8), 440, 5);
    EXPECT_NEAR(pitch(heard(result.file), 48'000, 1.3, 1.9), 440, 5);
  }
}

TEST(ExportEncoded, KeepsDateAndPlace) {
  const FileDescriptor source =
      movie(film() +
            "-c:v libx264 -c:a aac -metadata creation_time=2023-07-14T10:20:30Z "
            "-metadata location=+48.2000+016.3000/");
  auto tags = contentsOf(exported(source, kMedium, kMp4).file).tags;
  EXPECT_EQ(tags["creation_time"].substr(0, 19), "2023-07-14T10:20:30");
  EXPECT_EQ(tags["location"], "+48.2000+016.3000/");
}

TEST(ExportEncoded, LeavesOutCovers) {
  const FileDescriptor source = movie(film(30, "-f lavfi -i color=red:s=64x64:d=0.1:r=10") +
                                          "-map 0 -map 1 -map 2 -c:v:0 libx264 -c:a aac "
                                          "-c:v:1 mjpeg -disposition:v:1 attached_pic",
                                      "mp4");
  ASSERT_EQ(contentsOf(source).tracks.size(), 3U);
  for (const VideoPreset preset : {VideoPreset::passthrough, kHighest, kMedium}) {
    EXPECT_EQ(contentsOf(exported(source, preset).file).tracks.size(), 2U);
  }
}

}  // namespace
}  // namespace quorvin
