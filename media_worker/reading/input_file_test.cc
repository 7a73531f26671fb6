#include "media_worker/reading/input_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <random>
#include <string>

#include "media_worker/probe/probe.h"
#include "media_worker/render/render.h"
#include "testing/media/heif_pictures.h"
#include "testing/media/media_bytes.h"
#include "testing/media/probes.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

Bytes noise(std::size_t size) {
  std::minstd_rand random(1);
  Bytes bytes(size);
  for (std::uint8_t& each : bytes) each = static_cast<std::uint8_t>(random() >> 8);
  return bytes;
}

/// Calls that this process made to read, until now.
std::int64_t readingCalls() {
  std::ifstream counts("/proc/self/io");
  std::int64_t count = 0;
  for (std::string name; counts >> name >> count;) {
    if (name == "syscr:") return count;
  }
  ADD_FAILURE() << "the system does not count calls";
  return 0;
}

/// Less what the counting itself needs.
template <class Work>
std::int64_t readingCallsOf(const Work& work) {
  const std::int64_t before = readingCalls();
  const std::int64_t counting = readingCalls() - before;
  work();
  return readingCalls() - before - 2 * counting;
}

TEST(InputFile, ReadsWhatStandsThere) {
  const Bytes bytes = noise(1'000'003);
  const FileDescriptor file = fileOf(bytes);
  const auto input = InputFile::open(file.get());
  ASSERT_TRUE(input);
  std::minstd_rand random(2);
  for (int i = 0; i < 500; ++i) {
    const std::size_t offset = random() % 1'100'000;
    Bytes read(random() % (i % 10 == 0 ? 400'000 : 300));
    const std::size_t expected =
        std::min(read.size(), bytes.size() - std::min(offset, bytes.size()));
    ASSERT_EQ(input->readAt(static_cast<std::int64_t>(offset), read), expected);
    ASSERT_TRUE(std::equal(read.begin(), read.begin() + static_cast<std::ptrdiff_t>(expected),
                           bytes.begin() + static_cast<std::ptrdiff_t>(offset % bytes.size())) ||
                expected == 0);
  }
}

TEST(InputFile, HasPartsThatEndWhereTheyEnd) {
  const Bytes bytes = noise(300'000);
  const FileDescriptor file = fileOf(bytes);
  const auto input = InputFile::open(file.get());
  ASSERT_TRUE(input);
  const InputFile part = input->part(131'000, 1000);
  Bytes read(2000);
  EXPECT_EQ(part.readAt(10, read), 990U);
  EXPECT_TRUE(std::equal(read.begin(), read.begin() + 990, bytes.begin() + 131'010));
  EXPECT_EQ(part.readAt(1000, read), 0U);
  EXPECT_EQ(part.readAt(-1, read), 0U);
}

TEST(InputFile, ReadsFewTimesWhatIsAskedForInSmallPieces) {
  const FileDescriptor file = fileOf(noise(1'000'000));
  const auto input = InputFile::open(file.get());
  ASSERT_TRUE(input);
  const auto calls = readingCallsOf([&input] {
    std::uint8_t piece[16];
    // In three places by turns, as a header, a track and another are read.
    for (std::int64_t i = 0; i < 300'000; i += 16) {
      for (const std::int64_t place : {0, 300'000, 600'000}) input->readAt(place + i, piece);
    }
  });
  EXPECT_LE(calls, 12);
}

TEST(InputFile, EndsWhereTheFileIsCutWhileItIsRead) {
  const Bytes bytes = noise(600'000);
  const FileDescriptor file = fileOf(bytes);
  const auto input = InputFile::open(file.get());
  ASSERT_TRUE(input);
  Bytes read(1000);
  EXPECT_EQ(input->readAt(0, read), 1000U);
  ASSERT_EQ(::ftruncate(file.get(), 300'500), 0);
  EXPECT_EQ(input->readAt(300'000, read), 500U);
  EXPECT_EQ(input->readAt(500'000, read), 0U);
  Bytes all(600'000);
  EXPECT_EQ(input->readAt(0, all), 300'500U);
}

TEST(InputFile, EndsWhereItCannotBeRead) {
  const std::string name = testing::TempDir() + "unreadable";
  std::ofstream(name) << "content";
  const FileDescriptor file(::open(name.c_str(), O_WRONLY | O_CLOEXEC));
  const auto input = InputFile::open(file.get());
  ASSERT_TRUE(input);
  Bytes read(4);
  EXPECT_EQ(input->readAt(0, read), 0U);
  EXPECT_TRUE(input->head(100).empty());
}

TEST(InputFile, IsReadInFewCallsByEveryParser) {
  const Picture picture = gradient(1024, 768);
  const std::pair<const char*, Bytes> files[] = {
      {"heic of tiles", tiledHeic(picture, 64)},
      {"jpeg", saved(picture, ".jpg[Q=98]")},
      {"png", saved(picture, ".png")},
      {"webp", saved(picture, ".webp")},
      {"tiff", saved(picture, ".tif[compression=deflate,tile]")},
      {"movie", smallMovie("-c:v mpeg4", "mov")}};
  for (const auto& [name, bytes] : files) {
    const FileDescriptor file = fileOf(bytes);
    RenderRequest request = fitInto(256, 256);
    request.kind = name == std::string("movie") ? MediaKind::video : MediaKind::image;
    const auto probing = readingCallsOf([&file] { EXPECT_TRUE(probeFile(file.get(), "file")); });
    const auto rendering = readingCallsOf([&] { EXPECT_TRUE(renderFile(file.get(), request)); });
    const auto most = static_cast<std::int64_t>(bytes.size() / 50'000) + 20;
    EXPECT_LE(probing, most) << name;
    EXPECT_LE(rendering, most) << name;
  }
}

}  // namespace
}  // namespace quorvin
