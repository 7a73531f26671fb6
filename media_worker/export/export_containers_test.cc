#include <gtest/gtest.h>

#include "media_worker/export/export.h"
#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

using Containers = std::vector<VideoContainer>;
const Containers kBoth{VideoContainer::quickTime, VideoContainer::mpeg4};
const Containers kQuickTimeOnly{VideoContainer::quickTime};

TEST(ExportContainers, AreBothForWhateverCanBeEncoded) {
  for (const auto& [codecs, extension] :
       {std::pair("-c:v libx264 -c:a aac", "mov"), std::pair("-c:v ffv1 -c:a flac", "mkv"),
        std::pair("-c:v mpeg4 -c:a mp3", "avi")}) {
    const FileDescriptor source = movie(film() + codecs, extension);
    EXPECT_EQ(containersOf(source, VideoPreset::highestQuality), kBoth) << codecs;
    EXPECT_EQ(containersOf(source, VideoPreset::mediumQuality), kBoth) << codecs;
  }
}

TEST(ExportContainers, AreBothForCommonCodecsThatAreCopied) {
  for (const char* codecs :
       {"-c:v libx264 -c:a aac", "-c:v libx265 -x265-params log-level=none -c:a aac",
        "-c:v libx264 -c:a pcm_s16le", "-c:v mpeg4 -an"}) {
    EXPECT_EQ(containersOf(movie(film() + codecs), kPassthrough), kBoth) << codecs;
  }
}

TEST(ExportContainers, LeaveOutMpeg4ForPicturesThatItDoesNotTake) {
  EXPECT_EQ(containersOf(movie(film() + "-c:v prores_ks -pix_fmt yuv422p10le -c:a pcm_s16le"),
                         kPassthrough),
            kQuickTimeOnly);
  EXPECT_EQ(containersOf(movie(film() + "-c:v ffv1 -c:a flac", "mkv"), kPassthrough),
            kQuickTimeOnly);
}

TEST(ExportContainers, AreBothForPicturesThatAreEncodedForQuickTimeAndCopiedForMpeg4) {
  const FileDescriptor source =
      movie(film() + "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -c:a libopus", "webm");
  EXPECT_EQ(containersOf(source, kPassthrough), kBoth);
}

TEST(ExportContainers, AreNoneWithoutMovingPictures) {
  for (const auto& [arguments, extension] :
       {std::pair("-f lavfi -i sine -t 1 -c:a aac", "m4a"),
        std::pair("-f lavfi -i sine -f lavfi -i color=red:s=64x64 -t 1 -frames:v 1 -map 0 -map 1 "
                  "-c:a libmp3lame -c:v mjpeg -disposition:v attached_pic",
                  "mp3")}) {
    const FileDescriptor source = movie(arguments, extension);
    for (const VideoPreset preset :
         {kPassthrough, VideoPreset::highestQuality, VideoPreset::mediumQuality}) {
      const auto containers = exportContainers(source.get(), preset);
      EXPECT_TRUE(!containers || containers->empty()) << extension;
    }
  }
}

TEST(ExportContainers, AreAnErrorForWhatIsNoMovie) {
  const FileDescriptor source = fileOf(Bytes(1000, 'a'));
  EXPECT_FALSE(exportContainers(source.get(), kPassthrough));
}

}  // namespace
}  // namespace quorvin
