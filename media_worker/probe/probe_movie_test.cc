#include "media_worker/probe/probe_movie.h"

#include <gtest/gtest.h>

#include "core/platform/photo_library.h"
#include "testing/media/coded_films.h"
#include "testing/media/probes.h"

namespace quorvin {
namespace {

struct Container {
  const char* extension;
  const char* identifier;
  const char* options = "";
};

class MovieContainer : public testing::TestWithParam<Container> {};

TEST_P(MovieContainer, IsProbedByItsContentWhateverItsName) {
  const Bytes bytes = smallMovie(GetParam().options, GetParam().extension);
  for (const char* name : {"movie.jpg", "movie.mp3"}) {
    const MediaProbe probe = probedAs(
        {MediaKind::video, GetParam().identifier, GetParam().extension, 64, 48}, bytes, name);
    EXPECT_NEAR(probe.duration, 1, 0.2);  // programme streams are estimated
    EXPECT_GT(probe.frameRate, 9);
    EXPECT_EQ(probe.mediaSubtypes, 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(
    ProbeMovie, MovieContainer,
    testing::Values(Container{"mov", "public.quicktime-movie"}, Container{"mp4", "public.mpeg-4"},
                    Container{"m4v", "public.m4v-video"}, Container{"avi", "public.avi"},
                    Container{"3gp", "public.3gpp", "-c:v mpeg4"},
                    Container{"mkv", "org.matroska.mkv"},
                    Container{"webm", "org.webmproject.webm", "-c:v libvpx"},
                    Container{"mpg", "public.mpeg", "-r 25"},
                    Container{"ts", "public.mpeg-2-transport-stream", "-c:v mpeg2video -r 25"}));

class AudioContainer : public testing::TestWithParam<Container> {};

TEST_P(AudioContainer, IsAnAudioItem) {
  const MediaProbe probe =
      probedAs({MediaKind::audio, GetParam().identifier, GetParam().extension},
               ffmpegOutput("-f lavfi -i sine=d=1", GetParam().extension), "sound.mov");
  EXPECT_EQ(probe.frameRate, 0);
  EXPECT_NEAR(probe.duration, 1, 0.1);
}

INSTANTIATE_TEST_SUITE_P(
    ProbeMovie, AudioContainer,
    testing::Values(Container{"mp3", "public.mp3"}, Container{"m4a", "public.m4a-audio"},
                    Container{"wav", "com.microsoft.waveform-audio"},
                    Container{"aiff", "public.aiff-audio"}, Container{"flac", "org.xiph.flac"},
                    Container{"ogg", "org.xiph.ogg-audio"}, Container{"aac", "public.aac-audio"}));

TEST(ProbeMovie, TakesACoverPictureForNoVideo) {
  for (const char* extension : {"mp3", "m4a"}) {
    const MediaProbe probe = probed(ffmpegOutput(
        "-f lavfi -i sine=d=1 -f lavfi -i testsrc=s=64x48:r=1:d=1 -map 0 -map 1 -frames:v 1 "
        "-c:v mjpeg -pix_fmt yuvj420p -disposition:v attached_pic",
        extension));
    EXPECT_EQ(probe.kind, MediaKind::audio) << extension;
    EXPECT_EQ(probe.pixelWidth, 0) << extension;
  }
}

TEST(ProbeMovie, TakesSoundInAnMp4FileForAudio) {
  probedAs({MediaKind::audio, "public.m4a-audio", "m4a"},
           ffmpegOutput("-f lavfi -i sine=d=1", "mp4"));
}

TEST(ProbeMovie, MakesPixelsSquareByTheirAspect) {
  const MediaProbe probe = probed(smallMovie("-vf setsar=4/3", "mp4"));
  EXPECT_EQ(probe.pixelWidth, 85);
  EXPECT_EQ(probe.pixelHeight, 48);
}

TEST(ProbeMovie, TurnsTheSizeUprightByTheDisplayMatrix) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const MediaProbe probe =
        probed(video({filled(64, 48, kRed)}, {.orientation = orientation, .container = "mp4"}));
    EXPECT_EQ(probe.orientation, orientation);
    EXPECT_EQ(probe.pixelWidth, orientation >= 5 ? 48 : 64);
    EXPECT_EQ(probe.pixelHeight, orientation >= 5 ? 64 : 48);
  }
}

TEST(ProbeMovie, ReadsTheAverageFrameRate) {
  EXPECT_NEAR(probed(smallMovie("-vf fps=30000/1001", "mov")).frameRate, 30000.0 / 1001, 0.01);
}

TEST(ProbeMovie, KnowsSlowMotionByItsFrameRate) {
  const auto subtypes = [](const char* rate) {
    return probed(smallMovie(std::string("-vf fps=") + rate, "mov")).mediaSubtypes;
  };
  EXPECT_EQ(subtypes("120"), PHAssetMediaSubtype::videoHighFrameRate);
  EXPECT_EQ(subtypes("120000/1001"), PHAssetMediaSubtype::videoHighFrameRate);
  EXPECT_EQ(subtypes("240"), PHAssetMediaSubtype::videoHighFrameRate);
  EXPECT_EQ(subtypes("60"), 0U);
}

TEST(ProbeMovie, KnowsSlowMotionThatIsStretchedAlready) {
  const MediaProbe slow = probed(
      smallMovie("-r 30 -movflags use_metadata_tags -metadata com.android.capture.fps=240", "mp4"));
  EXPECT_EQ(slow.mediaSubtypes, PHAssetMediaSubtype::videoHighFrameRate);
  EXPECT_EQ(slow.captureFrameRate, 240);
  EXPECT_NEAR(slow.frameRate, 30, 0.01);
}

TEST(ProbeMovie, TakesACaptureRateThatTheMovieKeepsForNoStretch) {
  const MediaProbe plain = probed(
      smallMovie("-r 30 -movflags use_metadata_tags -metadata com.android.capture.fps=30", "mp4"));
  EXPECT_EQ(plain.mediaSubtypes, 0U);
  EXPECT_EQ(plain.captureFrameRate, 0);
  const MediaProbe fast = probed(smallMovie(
      "-r 120 -movflags use_metadata_tags -metadata com.android.capture.fps=120", "mp4"));
  EXPECT_EQ(fast.mediaSubtypes, PHAssetMediaSubtype::videoHighFrameRate);
  EXPECT_EQ(fast.captureFrameRate, 0);
}

TEST(ProbeMovie, ReadsTheItemsOfPhones) {
  const MediaProbe probe =
      probed(smallMovie("-movflags use_metadata_tags "
                        "-metadata com.maker.quicktime.creationdate=2017-05-01T12:34:56+0200 "
                        "-metadata com.maker.quicktime.content.identifier=8D3C-1 "
                        "-metadata creation_time=2018-01-01T00:00:00Z",
                        "mov"));
  EXPECT_EQ(probe.creationDate, utc("2017-05-01T10:34:56Z"));
  EXPECT_EQ(probe.contentIdentifier, "8D3C-1");
}

TEST(ProbeMovie, ReadsTheContainersDate) {
  for (const char* extension : {"mov", "mp4", "mkv"}) {
    EXPECT_EQ(
        probed(smallMovie("-metadata creation_time=2017-05-01T10:34:56Z", extension)).creationDate,
        utc("2017-05-01T10:34:56Z"))
        << extension;
  }
}

TEST(ProbeMovie, TakesAContainersDateBefore1970ForNone) {
  EXPECT_FALSE(
      probed(smallMovie("-metadata creation_time=1965-01-01T00:00:00Z", "mov")).creationDate);
  EXPECT_FALSE(probed(smallMovie("", "mov")).creationDate);
}

TEST(ProbeMovie, KnowsTimeLapsesAndScreenRecordingsByTheirName) {
  const Bytes bytes = smallMovie("", "mp4");
  EXPECT_EQ(probed(bytes, "Timelapse 1.mp4").mediaSubtypes, PHAssetMediaSubtype::videoTimelapse);
  EXPECT_EQ(probed(bytes, "Screencast from today.mp4").mediaSubtypes,
            PHAssetMediaSubtype::videoScreenRecording);
  EXPECT_EQ(probed(bytes, "Screenshot.png").mediaSubtypes, 0U);
}

}  // namespace
}  // namespace quorvin
