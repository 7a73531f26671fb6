// Exports of what is damaged, and exports that cannot be written.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include "media_protocol/failure.h"
#include "media_protocol/sealed_memory.h"
#include "media_worker/export/export.h"
#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

constexpr auto kInvalid = static_cast<std::int64_t>(LibraryErrorCode::invalidResource);
constexpr auto kNoSpace = static_cast<std::int64_t>(LibraryErrorCode::notEnoughSpace);

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

FileDescriptor goodFilm(const std::string& options = "", const std::string& extension = "mov") {
  return movie(film() + "-c:v libx264 -c:a aac " + options, extension);
}

FileDescriptor firstHalf(const FileDescriptor& file) {
  Bytes bytes = contents(file);
  bytes.resize(bytes.size() / 2);
  return fileOf(bytes);
}

void destroy(Bytes& bytes, const TestPacket& packet) {
  std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(packet.position), packet.bytes.size(),
              std::uint8_t{0xff});
}

TEST(ExportDamage, RefusesAFileThatEndsEarly) {
  for (const auto& [options, extension] :
       {std::pair("-movflags faststart", "mov"), std::pair("", "mkv"),
        std::pair("-movflags frag_keyframe+empty_moov -g 15", "mp4")}) {
    const FileDescriptor source = firstHalf(goodFilm(options, extension));
    for (const VideoPreset preset : kPresets) {
      const Exported result = exported(source, preset);
      ASSERT_TRUE(result.error) << extension;
      EXPECT_EQ(result.error->code, kInvalid);
      EXPECT_EQ(result.reason(), "The video ends early: the file is not whole.") << extension;
    }
  }
}

TEST(ExportDamage, RefusesAFileWithoutItsIndex) {
  const FileDescriptor source = firstHalf(goodFilm());
  for (const VideoPreset preset : kPresets) {
    EXPECT_NE(exported(source, preset).reason(), "");
    EXPECT_FALSE(exportContainers(source.get(), preset));
  }
}

TEST(ExportDamage, ShowsWhatThereIsWhenAFrameIsDamaged) {
  const FileDescriptor good = goodFilm("-g 10");
  Bytes bytes = contents(good);
  destroy(bytes, contentsOf(good).picture().packets[44]);
  const FileDescriptor source = fileOf(bytes);
  for (const VideoPreset preset : {VideoPreset::highestQuality, VideoPreset::mediumQuality}) {
    const Exported result = exported(source, preset);
    ASSERT_EQ(result.reason(), "");
    EXPECT_GE(shown(result.file).size(), 80U);
  }
}

TEST(ExportDamage, RefusesPicturesOfWhichNothingDecodes) {
  const FileDescriptor good = goodFilm();
  Bytes bytes = contents(good);
  const TestMovie whole = contentsOf(good);
  for (const TestPacket& each : whole.picture().packets) {
    destroy(bytes, each);
  }
  const FileDescriptor source = fileOf(bytes);
  for (const VideoPreset preset : {VideoPreset::highestQuality, VideoPreset::mediumQuality}) {
    const Exported result = exported(source, preset);
    ASSERT_TRUE(result.error);
    EXPECT_EQ(result.error->code, kInvalid);
    EXPECT_EQ(result.reason(), "The video cannot be decoded.");
  }
}

TEST(ExportDamage, RefusesAnUnknownCodecWhenItIsToBeDecoded) {
  Bytes bytes = contents(goodFilm());
  const std::string tag = "avc1";
  for (auto at = bytes.begin();
       (at = std::search(at, bytes.end(), tag.begin(), tag.end())) != bytes.end(); ++at) {
    std::copy_n("zzzz", 4, at);
  }
  const FileDescriptor source = fileOf(bytes);
  for (const VideoPreset preset : kPresets) {
    EXPECT_NE(exported(source, preset).reason(), "");
    const auto containers = exportContainers(source.get(), preset);
    EXPECT_TRUE(!containers || containers->empty());
  }
}

TEST(ExportDamage, RefusesSoundAloneAndPicturesOfNoLength) {
  const FileDescriptor soundOnly = movie("-f lavfi -i sine -t 1 -c:a aac", "m4a");
  const FileDescriptor empty =
      movie("-f lavfi -i testsrc2=s=64x64 -frames:v 0 -c:v libx264 -pix_fmt yuv420p");
  for (const FileDescriptor* source : {&soundOnly, &empty}) {
    for (const VideoPreset preset : kPresets) {
      const Exported result = exported(*source, preset);
      ASSERT_TRUE(result.error);
      EXPECT_EQ(result.error->code, kInvalid);
      const auto containers = exportContainers(source->get(), preset);
      EXPECT_TRUE(!containers || containers->empty());
    }
  }
}

TEST(ExportDamage, SurvivesNoiseInEveryPart) {
  const Bytes good = contents(goodFilm("-movflags faststart"));
  std::uint32_t state = 1;
  for (int i = 0; i < 40; ++i) {
    Bytes bytes = good;
    for (int j = 0; j < 20; ++j) {
      state = state * 1'664'525 + 1'013'904'223;
      // Half of the hits are in the index.
      const std::size_t part =
          j % 2 == 0 ? std::min<std::size_t>(bytes.size(), 8000) : bytes.size();
      bytes[(state >> 8) % part] = static_cast<std::uint8_t>(state >> 24);
    }
    const FileDescriptor source = fileOf(bytes);
    const Exported result = exported(source, kPresets.at(static_cast<std::size_t>(i) % 3));
    if (!result.error) {
      EXPECT_FALSE(contentsOf(result.file).tracks.empty());
    }
  }
}

TEST(ExportDamage, SaysThatSpaceRanOut) {
  ::signal(SIGXFSZ, SIG_IGN);
  const FileDescriptor source = goodFilm();
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{20'000, before.rlim_max};
  for (const VideoPreset preset : {VideoPreset::passthrough, VideoPreset::highestQuality}) {
    const FileDescriptor output(::open(testing::TempDir().c_str(), O_TMPFILE | O_RDWR, 0600));
    ASSERT_TRUE(output);
    ::setrlimit(RLIMIT_FSIZE, &small);
    const auto error =
        exportVideo(source.get(), output.get(), {preset, VideoContainer::quickTime, true, {}},
                    [](std::int64_t) {});
    ::setrlimit(RLIMIT_FSIZE, &before);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, kNoSpace);
    EXPECT_EQ(error->sentence(), "There is not enough space for the video.");
  }
}

TEST(ExportDamage, SaysWhyAFileCannotBeWritten) {
  const FileDescriptor source = goodFilm();
  const FileDescriptor readOnly(::open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
  const auto error = exportVideo(source.get(), readOnly.get(),
                                 {VideoPreset::passthrough, VideoContainer::quickTime, true, {}},
                                 [](std::int64_t) {});
  ASSERT_TRUE(error);
  EXPECT_EQ(error->sentence(), "The video cannot be written: Bad file descriptor.");
}

TEST(ExportDamage, LeavesNoDescriptorOpen) {
  const FileDescriptor good = goodFilm();
  const FileDescriptor bad = firstHalf(goodFilm("-movflags faststart"));
  const FileDescriptor none = fileOf(Bytes(100, 7));
  exported(good, VideoPreset::highestQuality);  // loads what stays loaded
  const auto before = openDescriptors();
  for (const FileDescriptor* source : {&good, &bad, &none}) {
    for (const VideoPreset preset : kPresets) {
      exported(*source, preset);
      static_cast<void>(exportContainers(source->get(), preset));
    }
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST(ExportDamage, TellsThatTheSystemHasNoEncoder) {
  const FileDescriptor source = goodFilm();
  const auto exportedWith = [&source](VideoPreset preset, const ExportEncoders& encoders) {
    return exported(source, preset, VideoContainer::quickTime, {}, encoders);
  };
  const Exported noPictures = exportedWith(VideoPreset::highestQuality, {.pictures = "none-such"});
  ASSERT_TRUE(noPictures.error);
  EXPECT_EQ(noPictures.error->code, static_cast<std::int64_t>(LibraryErrorCode::internal));
  EXPECT_EQ(noPictures.reason(), "This system has no encoder of H.264.");
  EXPECT_EQ(exportedWith(VideoPreset::mediumQuality, {.sounds = "none-such"}).reason(),
            "This system has no encoder of AAC.");
  // What is copied needs none.
  EXPECT_EQ(exportedWith(VideoPreset::passthrough, {"none-such", "none-such"}).reason(), "");
}

TEST(ExportDamage, TellsThatItGetsOn) {
  const FileDescriptor source = goodFilm();
  for (const VideoPreset preset : kPresets) {
    int calls = 0;
    const FileDescriptor output = makeMemoryFile(0);
    ASSERT_FALSE(exportVideo(source.get(), output.get(),
                             {preset, VideoContainer::quickTime, true, {}},
                             [&calls](std::int64_t) { ++calls; }));
    EXPECT_GT(calls, 90);
  }
}

}  // namespace
}  // namespace quorvin
