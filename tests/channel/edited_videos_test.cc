// Videos that play in parts, at speeds of their own.
#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

/// A video that was edited to play by parts.
class EditedVideos : public testing::Test {
 protected:
  static constexpr Format kFormats[] = {Format::original, Format::mov, Format::mp4};
  Exports channel;

  /// "start, duration, played duration" in milliseconds.
  void playBy(const std::string& name, const std::vector<std::string>& segments) {
    std::string statements;
    for (std::size_t i = 0; i < segments.size(); ++i) {
      statements +=
          "INSERT INTO time_maps(asset, pos, source_start, source_duration, "
          "target_duration) SELECT DISTINCT asset, " +
          std::to_string(i) + ", a * 1000000, b * 1000000, c * 1000000 FROM resources, " +
          "(SELECT column1 AS a, column2 AS b, column3 AS c FROM (VALUES (" + segments[i] +
          "))) WHERE name = '" + name + "';";
    }
    channel.useCopy([&](const std::string& library) {
      outputOf({"sqlite3", library + "/library.sqlite", statements});
    });
  }
  void expectDuration(double seconds) {
    for (const Format format : kFormats) {
      for (const bool medium : {false, true}) {
        const SeenVideo seen = seeVideo(channel.video("CLIP.mp4", format, medium));
        EXPECT_NEAR(seen.videoDuration, seconds, 0.1);
        EXPECT_NEAR(seen.audioDuration, seen.videoDuration, 0.1);
      }
    }
  }
};

TEST_F(EditedVideos, PlayTheirPartsAtTheirSpeeds) {
  playBy("CLIP.mp4", {"0, 1000, 2000", "1000, 1000, 500"});
  expectDuration(2.5);
}

TEST_F(EditedVideos, LeaveOutWhatNoPartCovers) {
  playBy("CLIP.mp4", {"0, 480, 480", "1200, 800, 800"});
  expectDuration(1.28);
}

TEST_F(EditedVideos, MayBeginLater) {
  playBy("CLIP.mp4", {"1000, 1000, 1000"});
  expectDuration(1);
  // The first picture is the one at a second.
  const fs::path part = channel.folder() / "part.mp4";
  outputOf({"ffmpeg", "-nostdin", "-v", "error", "-ss", "1", "-i", kGoodMedia / "CLIP.mp4", "-an",
            "-c:v", "libx264", "-qp", "0", part});
  for (const Format format : kFormats) EXPECT_GT(psnr(channel.video("CLIP.mp4", format), part), 38);
}

}  // namespace
}  // namespace quorvin
