// Exports of sources that few cameras make, beside what the ffmpeg program makes of them.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "testing/media/coded_films.h"
#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

struct Rare {
  const char* name;
  std::function<FileDescriptor()> make;
  std::string filters;  ///< of the ffmpeg program, for pictures as an export has them
  bool hasSound = true;
};

const std::string kFields =
    "-f lavfi -i testsrc2=s=160x128:r=50 -f lavfi -i sine=440:r=48000 -t 1 -pix_fmt yuv420p "
    "-vf tinterlace=interleave_top,setfield=tff -flags +ilme+ildct ";

FileDescriptor withEditList(const std::string& inputs) {
  const FileDescriptor base = movie(film() + "-t 1 -c:v libx264 -g 10 -bf 2 -crf 10 -c:a aac");
  std::string arguments = inputs;
  for (std::size_t at = 0; (at = arguments.find("BASE")) != std::string::npos;) {
    arguments.replace(at, 4, nameOf(base));
  }
  return movie(arguments + " -c copy");
}

std::vector<Rare> rareSources() {
  return {
      {"H.264 of fields",
       [] {
         return movie(kFields + "-c:v libx264 -preset ultrafast -crf 8 -x264-params tff=1 -c:a aac",
                      "mp4");
       },
       "bwdif=mode=send_frame"},
      {"MPEG-2 of fields", [] { return movie(kFields + "-c:v mpeg2video -q:v 2 -c:a mp2", "ts"); },
       "bwdif=mode=send_frame"},
      {"uneven times",
       [] {
         return movie(film() +
                      "-t 1 -vf \"select='not(mod(n\\,3))+lt(mod(n\\,10)\\,4)'\" "
                      "-fps_mode vfr -c:v libx264 -crf 10 -c:a aac");
       },
       "null"},
      {"a later beginning",
       [] { return withEditList("-i BASE -itsoffset 0.4 -i BASE -map 1:v -map 0:a"); }, "null"},
      {"a cut beginning", [] { return withEditList("-ss 0.5 -i BASE"); }, "null"},
      {"odd sizes",
       [] {
         return movie(film() +
                      "-t 1 -vf scale=321:241,setsar=1 -pix_fmt yuv444p -c:v libx264 -crf 10 "
                      "-c:a aac");
       },
       "crop=320:240:0:0:exact=1,format=yuv420p"},
      {"no sound", [] { return movie(film() + "-t 1 -an -c:v libx264 -crf 10"); }, "null", false},
      {"ten bits",
       [] { return movie(film() + "-t 1 -pix_fmt yuv420p10le -c:v libx264 -crf 10 -c:a aac"); },
       "format=yuv420p"},
      {"turned and of wide pixels",
       [] {
         return fileOf(video(std::vector(5, stored(gradient(96, 144), 6)),
                             {.orientation = 6, .aspectWidth = 4, .aspectHeight = 3}));
       },
       "scale=96:192:flags=bicubic,setsar=1", false},
  };
}

void expectTimes(const std::vector<Shown>& frames, const std::vector<Shown>& wanted) {
  ASSERT_EQ(frames.size(), wanted.size());
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_NEAR(frames[i].time - frames[0].time, wanted[i].time - wanted[0].time, 0.0015) << i;
  }
}

class ExportRare : public testing::TestWithParam<std::size_t> {
 protected:
  const Rare rare = rareSources().at(GetParam());
  const FileDescriptor source = rare.make();
};

TEST_P(ExportRare, IsEncodedLikeByTheFfmpegProgram) {
  SCOPED_TRACE(rare.name);
  const auto wanted = shown(movie("-i " + nameOf(source) + " -an -vf " + rare.filters +
                                      " -fps_mode passthrough -c:v libx264 -preset ultrafast -qp 0",
                                  "mkv"));
  for (const auto& [preset, least] : {std::pair(kHighest, 33.0), std::pair(kMedium, 30.0)}) {
    const Exported result = exported(source, preset);
    ASSERT_EQ(result.reason(), "");
    const auto frames = shown(result.file);
    expectTimes(frames, wanted);
    EXPECT_NEAR(frames.front().time, rare.name == std::string("a later beginning") ? 0.4 : 0, 0.05);
    EXPECT_GT(psnr(frames, wanted), least);
    const TestMovie found = contentsOf(result.file);
    EXPECT_EQ(found.tracks.size(), rare.hasSound ? 2U : 1U);
    if (rare.hasSound) {
      EXPECT_NEAR(pitch(heard(result.file), 48'000, 0.1, 0.4), 440, 5);
    }
  }
}

TEST_P(ExportRare, IsPassedThroughAsItIs) {
  SCOPED_TRACE(rare.name);
  const auto wanted = shown(source);
  const Exported result = exported(source, kPassthrough);
  ASSERT_EQ(result.reason(), "");
  const auto frames = shown(result.file);
  expectTimes(frames, wanted);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    EXPECT_TRUE(frames[i].picture.pixels == wanted[i].picture.pixels) << i;
  }
  EXPECT_EQ(contentsOf(result.file).picture().codec, contentsOf(source).picture().codec);
  EXPECT_EQ(contentsOf(result.file).tracks.size(), rare.hasSound ? 2U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Sources, ExportRare, testing::Range<std::size_t>(0, rareSources().size()));

TEST(ExportFields, AreJoinedFromTheFirstFrameThatHasThemToTheLast) {
  // Whole frames, then frames of fields.
  Bytes bytes = contents(movie(
      "-f lavfi -i testsrc2=s=160x128:r=25 -t 1 -pix_fmt yuv420p -c:v mpeg2video -q:v 2", "ts"));
  const Bytes fields = contents(movie(kFields + "-c:v mpeg2video -q:v 2 -an", "ts"));
  bytes.insert(bytes.end(), fields.begin(), fields.end());
  const FileDescriptor source = fileOf(bytes);
  const auto wanted = shown(movie("-i " + nameOf(source) +
                                      " -vf bwdif=mode=send_frame:deint=interlaced -fps_mode "
                                      "passthrough -c:v libx264 -preset ultrafast -qp 0",
                                  "mkv"));
  const Exported result = exported(source, kHighest);
  ASSERT_EQ(result.reason(), "");
  const auto frames = shown(result.file);
  EXPECT_EQ(frames.size(), wanted.size());
  EXPECT_GT(psnr(frames, wanted), 33);
}

}  // namespace
}  // namespace quorvin
