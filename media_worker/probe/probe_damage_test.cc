// Probing damaged and hostile files: whatever the bytes, there is an answer.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "testing/media/probes.h"

namespace quorvin {
namespace {

/// An answer is a sound probe, or one plain sentence.
void expectAnswer(const Bytes& bytes) {
  const auto probe = probeBytes(bytes, "file");
  if (!probe) {
    const std::string reason = probe.error().sentence();
    EXPECT_TRUE(reason.ends_with('.')) << reason;
    EXPECT_EQ(reason.find('\n'), std::string::npos) << reason;
    return;
  }
  EXPECT_FALSE(probe->uniformTypeIdentifier.empty());
  EXPECT_TRUE(probe->orientation >= 1 && probe->orientation <= 8);
  EXPECT_GE(probe->duration, 0);
  EXPECT_GE(probe->embeddedMovieOffset, 0);
  EXPECT_LE(probe->embeddedMovieOffset + probe->embeddedMovieLength,
            static_cast<std::int64_t>(bytes.size()));
  EXPECT_EQ(probe->pixelWidth > 0, probe->kind != MediaKind::audio);
}

struct Sample {
  const char* name;
  std::function<Bytes()> make;
  int rounds;  ///< of random changes
};

Bytes photo(const char* format) {
  return withTags(savedPicture(format, 24, 16),
                  {{"Exif.Image.Make", "maker"},
                   {"Exif.Photo.DateTimeOriginal", "2017:05:01 12:34:56"},
                   {"Exif.GPSInfo.GPSDateStamp", "2017:05:01"},
                   {"Exif.GPSInfo.GPSTimeStamp", "10/1 34/1 56/1"}},
                  {{"Xmp.xmp.CreateDate", "2017-05-01T12:34:56"}});
}

Bytes notedPhoto() {
  return withMakerNote(photo(".jpg"),
                       makerNote({{0x000b, 2, "burst", 0}, {0x0011, 2, "content", 0}}));
}

Bytes tinyMovie(const char* extension) {
  return ffmpegOutput(
      "-f lavfi -i color=red:s=16x16:r=5:d=0.4 -f lavfi -i sine=d=0.4 "
      "-pix_fmt yuv420p -c:a aac -b:a 16k",
      extension);
}

class Damaged : public testing::TestWithParam<Sample> {};

TEST_P(Damaged, IsAnsweredAtEveryTruncation) {
  const Bytes whole = GetParam().make();
  ASSERT_FALSE(whole.empty());
  constexpr std::size_t kMostSteps = 1500;
  const std::size_t step = std::max<std::size_t>(1, whole.size() / kMostSteps);
  for (std::size_t count = 0; count < whole.size(); count += step) {
    SCOPED_TRACE(count);
    expectAnswer(firstBytes(whole, count));
  }
}

TEST_P(Damaged, IsAnsweredAfterRandomChanges) {
  const Bytes whole = GetParam().make();
  ASSERT_FALSE(whole.empty());
  std::mt19937 random(20170501);
  for (int round = 0; round < GetParam().rounds; ++round) {
    SCOPED_TRACE(round);
    Bytes damaged = whole;
    // Structure stands at the beginning: half of the changes go there.
    const std::size_t range =
        round % 2 == 0 ? whole.size() : std::min<std::size_t>(600, whole.size());
    for (unsigned change = 0; change <= random() % 4; ++change) {
      damaged[random() % range] = static_cast<std::uint8_t>(random());
    }
    expectAnswer(damaged);
  }
}

INSTANTIATE_TEST_SUITE_P(
    ProbeFile, Damaged,
    testing::Values(
        Sample{"jpeg", notedPhoto, 600}, Sample{"png", [] { return photo(".png"); }, 500},
        Sample{"webp", [] { return photo(".webp"); }, 400},
        Sample{"tiff", [] { return photo(".tif"); }, 600},
        Sample{"gif", [] { return savedPicture(".gif", 24, 16); }, 300},
        Sample{"heic",
               [] { return heif(gradient(16, 16), {.orientation = 6, .thumbnailSize = 8}); }, 500},
        Sample{"mov", [] { return tinyMovie("mov"); }, 500},
        Sample{"mkv", [] { return tinyMovie("mkv"); }, 200},
        Sample{"avi", [] { return tinyMovie("avi"); }, 200},
        Sample{"mp3", [] { return ffmpegOutput("-f lavfi -i sine=d=0.3", "mp3"); }, 100}),
    [](const testing::TestParamInfo<Sample>& parameter) { return parameter.param.name; });

// What is no text cannot be told to the other process, and the photo would be refused with it.
TEST(ProbeIdentifiers, AreNoneWhereTheyAreNoText) {
  const auto noted = [](const std::string& burst, const std::string& content) {
    return probed(
        withMakerNote(photo(".jpg"), makerNote({{0x000b, 2, burst, 0}, {0x0011, 2, content, 0}})));
  };
  EXPECT_EQ(noted("burst", "content").burstIdentifier, "burst");
  EXPECT_EQ(noted("burst", "content").contentIdentifier, "content");
  EXPECT_EQ(noted("b\xffrst", "content").burstIdentifier, "");
  EXPECT_EQ(noted("burst", "cont\xc3").contentIdentifier, "");
}

}  // namespace
}  // namespace quorvin
