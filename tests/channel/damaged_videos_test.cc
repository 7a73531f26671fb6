// Videos whose originals cannot be read to their end.
#include <algorithm>

#include "codec/standard_method_codec.h"
#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

/// The fault of an export of a damaged original.
class DamagedVideos : public testing::Test {
 protected:
  Exports channel;

  void damage(const std::string& name, const std::string& bytes) {
    channel.useCopy(
        [&](const std::string& library) { replaceOriginal(library, kGoodMedia / name, bytes); });
  }
  void expectFaults(const std::string& name, const std::vector<std::string>& messages) {
    for (const Format format : {Format::mov, Format::mp4}) {
      for (const bool medium : {false, true}) {
        const FlutterError fault =
            channel.error("getVideoUrl", videoFile(channel.asset(name), format, medium));
        EXPECT_TRUE(std::ranges::count(messages, fault.message) == 1) << fault.message;
        EXPECT_EQ(fault.details.isNull(), fault.message != "Export failed");
      }
    }
    EXPECT_EQ(filesIn(channel.temporary()), std::vector<std::string>{});
    EXPECT_EQ(seeVideo(channel.video("TURNED.mp4", Format::mov)).frames, 30);
  }
};

TEST_F(DamagedVideos, WithoutTheirIndexHaveNoSession) {
  damage("MOVIE.mov", bytesOf(kGoodMedia / "MOVIE.mov").substr(0, 5000));
  expectFaults("MOVIE.mov", {"Failed to create export session"});
}

TEST_F(DamagedVideos, OfNoBytesHaveNoSession) {
  damage("CLIP.mp4", "");
  expectFaults("CLIP.mp4", {"Failed to create export session"});
}

TEST_F(DamagedVideos, OfNoiseHaveNoSession) {
  damage("CLIP.mp4", bytesOf(kBadMedia / "noise.heic"));
  expectFaults("CLIP.mp4", {"Failed to create export session"});
}

TEST_F(DamagedVideos, OfAnUnknownCodecHaveNoSession) {
  std::string bytes = bytesOf(kGoodMedia / "CLIP.mp4");
  const std::size_t codec = bytes.rfind("avc1");
  ASSERT_NE(codec, std::string::npos);
  bytes.replace(codec, 4, "zzzz");
  damage("CLIP.mp4", bytes);
  expectFaults("CLIP.mp4", {"Failed to create export session"});
}

TEST_F(DamagedVideos, WithoutAPictureHaveNoSession) {
  damage("CLIP.mp4", bytesOf(kGoodMedia / "memo.m4a"));
  expectFaults("CLIP.mp4", {"Failed to create export session"});
}

TEST_F(DamagedVideos, WithAHoleLeaveAFileThatPlaysOrNone) {
  std::string bytes = bytesOf(kGoodMedia / "MOVIE.mov");
  std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 3),
            bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), '\0');
  damage("MOVIE.mov", bytes);
  const Answer& answer =
      channel.call("getVideoUrl", videoFile(channel.asset("MOVIE.mov"), Format::mp4));
  channel.await(answer);
  EXPECT_EQ(answer.count, 1);
  const auto files = filesIn(channel.temporary());
  if (answer.message[0] == 0) {
    ASSERT_EQ(files, (std::vector<std::string>{"video/MOVIE.mp4"}));
    EXPECT_GT(seeVideo(channel.temporary() / files[0]).frames, 0);
  } else {
    EXPECT_EQ(files, std::vector<std::string>{});
  }
}

}  // namespace
}  // namespace quorvin
