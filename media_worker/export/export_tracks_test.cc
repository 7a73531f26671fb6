// Exports of movies with more tracks than one of pictures and one of sound.
#include <gtest/gtest.h>

#include <array>
#include <string>

extern "C" {
#include <libavformat/avformat.h>
}

#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

using std::chrono::milliseconds;

/// Tones of 440, 880 and 660 swings a second in three languages; the second plays by default.
FileDescriptor threeLanguages(const std::string& soundCodec, const std::string& extension) {
  return movie(
      film(60, "-f lavfi -i sine=frequency=880:r=48000 -f lavfi -i sine=frequency=660:r=44100 ") +
          "-t 2 -map 0 -map 1 -map 2 -map 3 -c:v libx264 -c:a " + soundCodec +
          " -metadata:s:a:0 language=eng -metadata:s:a:1 language=fra "
          "-metadata:s:a:2 language=ger -disposition:a:0 0 -disposition:a:1 default "
          "-disposition:a:2 visual_impaired",
      extension);
}

void expectThreeLanguages(const FileDescriptor& file, VideoContainer container, double seconds) {
  const auto sounds = contentsOf(file).sounds();
  ASSERT_EQ(sounds.size(), 3U);
  const std::array languages{"eng", "fra", container == kMov ? "ger" : "deu"};
  constexpr std::array kTones{440.0, 880.0, 660.0};
  constexpr std::array kRates{48'000, 48'000, 44'100};
  for (std::size_t i = 0; i < sounds.size(); ++i) {
    EXPECT_EQ(sounds[i].language, languages.at(i));
    EXPECT_EQ(sounds[i].disposition & AV_DISPOSITION_DEFAULT, i == 1 ? AV_DISPOSITION_DEFAULT : 0);
    ASSERT_EQ(sounds[i].sampleRate, kRates.at(i));
    const auto samples = heard(file, 0, static_cast<int>(i));
    EXPECT_NEAR(static_cast<double>(samples.size()) / kRates.at(i), seconds, 0.06);
    EXPECT_NEAR(pitch(samples, kRates.at(i), 0.2, seconds - 0.2), kTones.at(i), 5);
  }
}

TEST(ExportTracks, KeepEverySoundWithItsLanguageAndTheDefault) {
  for (const auto& [codec, extension] :
       {std::pair("aac", "mov"), std::pair("aac", "mkv"), std::pair("flac", "mkv")}) {
    const FileDescriptor source = threeLanguages(codec, extension);
    for (const VideoPreset preset : kPresets) {
      for (const VideoContainer container : {kMov, kMp4}) {
        SCOPED_TRACE(std::string(codec) + " in " + extension);
        const Exported result = exported(source, preset, container);
        ASSERT_EQ(result.reason(), "");
        EXPECT_EQ(contentsOf(result.file).tracks.size(), 4U);
        expectThreeLanguages(result.file, container, 2);
      }
    }
  }
}

TEST(ExportTracks, KeepWhomASoundIsMeantForWhereTheContainerTellsIt) {
  const FileDescriptor source = threeLanguages("aac", "mkv");
  for (const VideoPreset preset : kPresets) {
    const auto sounds = contentsOf(exported(source, preset, kMp4).file).sounds();
    ASSERT_EQ(sounds.size(), 3U);
    EXPECT_NE(sounds[2].disposition & AV_DISPOSITION_VISUAL_IMPAIRED, 0);
    EXPECT_EQ(sounds[0].disposition & AV_DISPOSITION_VISUAL_IMPAIRED, 0);
  }
}

TEST(ExportTracks, StretchEverySound) {
  const FileDescriptor source = threeLanguages("aac", "mov");
  const TimeMap slow{{milliseconds(0), milliseconds(1000), milliseconds(1000)},
                     {milliseconds(1000), milliseconds(1000), milliseconds(2000)}};
  for (const VideoPreset preset : kPresets) {
    const Exported result = exported(source, preset, kMov, slow);
    ASSERT_EQ(result.reason(), "");
    expectThreeLanguages(result.file, kMov, 3);
  }
}

TEST(ExportTracks, LeaveOutFurtherPicturesSubtitlesAndChapters) {
  const FileDescriptor subtitles = fileOf(bytesOf("1\n00:00:00,000 --> 00:00:02,000\nHello\n"));
  const FileDescriptor chapters =
      fileOf(bytesOf(";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1\nSTART=0\nEND=2\ntitle=One\n"));
  const FileDescriptor source =
      movie(film(30, "-f lavfi -i color=red:s=64x64:r=10 -f srt -i " + nameOf(subtitles) +
                         " -f ffmetadata -i " + nameOf(chapters)) +
                "-map 0 -map 1 -map 2 -map 3 -map_chapters 4 -attach " + nameOf(subtitles) +
                " -metadata:s:t mimetype=text/plain -c:v libx264 -c:a aac -c:s srt",
            "mkv");
  ASSERT_EQ(contentsOf(source).tracks.size(), 5U);
  const auto before = shown(source);
  for (const VideoPreset preset : kPresets) {
    const Exported result = exported(source, preset);
    ASSERT_EQ(result.reason(), "");
    const TestMovie found = contentsOf(result.file);
    ASSERT_EQ(found.tracks.size(), 2U);
    EXPECT_EQ(found.picture().width, 160);
    EXPECT_GT(psnr(before, shown(result.file)), 30);
    EXPECT_NEAR(pitch(heard(result.file), 48'000, 0.5, 2.5), 440, 2);
  }
}

}  // namespace
}  // namespace quorvin
