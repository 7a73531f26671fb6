#include "media_worker/headers/tiff_directories.h"

#include <gtest/gtest.h>

#include "testing/media/probes.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

void put(Bytes& bytes, std::uint64_t value, int size) {
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

struct TiffTag {
  std::uint32_t tag;
  std::uint32_t type;  ///< 3: short, 4: long, 7: bytes
  std::uint32_t count;
  std::uint32_t value;
};
using TiffTags = std::vector<TiffTag>;

constexpr std::size_t kPixelsBegin = 8;
constexpr std::uint32_t kSide = 16;

/// A grey page, whose pixels stand behind the header.
TiffTags pageTags() {
  return {{256, 3, 1, kSide}, {257, 3, 1, kSide}, {258, 3, 1, 8},
          {259, 3, 1, 1},     {262, 3, 1, 1},     {273, 4, 1, kPixelsBegin},
          {277, 3, 1, 1},     {278, 3, 1, kSide}, {279, 4, 1, kSide * kSide}};
}

/// Pages one behind the other, of which each has these tags, and bytes behind them.
Bytes tiffOf(const TiffTags& tags, std::size_t pages, std::size_t bytesBehind = 0) {
  Bytes file{'I', 'I', 42, 0};
  put(file, kPixelsBegin + kSide * kSide, 4);
  file.resize(kPixelsBegin + kSide * kSide, 0x80);
  for (std::size_t page = 1; page <= pages; ++page) {
    put(file, tags.size(), 2);
    for (const TiffTag& each : tags) {
      put(file, each.tag, 2);
      put(file, each.type, 2);
      put(file, each.count, 4);
      put(file, each.value, 4);
    }
    put(file, page < pages ? file.size() + 4 : 0, 4);
  }
  file.resize(file.size() + bytesBehind, 1);
  return file;
}

/// Tags that all have the same bytes for their values.
TiffTags sharingTags(std::uint32_t count, std::uint32_t bytes) {
  TiffTags tags = pageTags();
  for (std::uint32_t i = 0; i < count; ++i) tags.push_back({50'000 + i, 7, bytes, kPixelsBegin});
  return tags;
}

bool isRefused(const Bytes& file) {
  std::string reason;
  rendered(file, fitInto(256, 256), &reason);
  return refusal(file) == "The photo holds more beside its pixels than can be read." &&
         reason == "The picture cannot be decoded.";
}

TEST(TiffDirectories, MayBeTheThousandPagesOfABook) {
  EXPECT_EQ(rendered(tiffOf(pageTags(), 1'000), fitInto(256, 256)).width, 16);
}

TEST(TiffDirectories, AreNotTensOfThousands) {
  EXPECT_TRUE(isRefused(tiffOf(pageTags(), 10'000)));
}

TEST(TiffDirectories, DoNotLeadBack) {
  Bytes file = tiffOf(pageTags(), 2);
  // The second page is followed by the first.
  const Bytes first = {file.begin() + 4, file.begin() + 8};
  std::copy(first.begin(), first.end(), file.end() - 4);
  EXPECT_TRUE(isRefused(file));
}

TEST(TiffDirectories, MayHaveTagsThatShareAValue) {
  EXPECT_EQ(rendered(tiffOf(sharingTags(20, 200), 1), fitInto(256, 256)).width, 16);
}

TEST(TiffDirectories, DoNotHaveValuesManyTimesAsLongAsTheFile) {
  EXPECT_TRUE(isRefused(tiffOf(sharingTags(100, 1'000'000), 1, 1'000'000)));
}

TEST(TiffDirectories, AreCountedBelowOthersAndInLargeFilesAsWell) {
  // Each directory names two that follow: the first leads to itself.
  TiffTags tags = pageTags();
  tags.push_back({0x8769, 4, 1, kPixelsBegin + kSide * kSide});
  EXPECT_TRUE(isRefused(tiffOf(tags, 1)));
  Bytes large{'I', 'I', 43, 0, 8, 0, 0, 0};
  put(large, 16, 8);
  // One tag, and the directory after this one is this one.
  put(large, 1, 8);
  put(large, 256, 2);
  put(large, 3, 2);
  put(large, 1, 8);
  put(large, 16, 8);
  put(large, 16, 8);
  EXPECT_TRUE(hasTooManyTags(large));
  large[large.size() - 8] = 0;
  EXPECT_FALSE(hasTooManyTags(large));
}

/// Exif that names the lens, and has so many tags besides with the same bytes for their values.
Bytes exifOfLens(std::uint32_t others, std::uint32_t bytes) {
  const std::string lens = "front camera";
  constexpr std::uint32_t kDirectory = 26;
  const std::uint32_t behind = kDirectory + 2 + 12 * (others + 1) + 4;
  Bytes file{'I', 'I', 42, 0, 8, 0, 0, 0};
  const auto add = [&file](const TiffTag& each) {
    put(file, each.tag, 2);
    put(file, each.type, 2);
    put(file, each.count, 4);
    put(file, each.value, 4);
  };
  put(file, 1, 2);
  add({0x8769, 4, 1, kDirectory});
  put(file, 0, 4);
  put(file, others + 1, 2);
  add({0xA434, 2, static_cast<std::uint32_t>(lens.size() + 1), behind});
  for (std::uint32_t i = 0; i < others; ++i) add({50'000 + i, 7, bytes, behind});
  put(file, 0, 4);
  file.insert(file.end(), lens.begin(), lens.end());
  file.resize(file.size() + bytes);
  return file;
}

TEST(TiffDirectories, OfExifInAHeicAreLookedAtAsWell) {
  EXPECT_TRUE(probed(smallHeic({.exif = exifOfLens(2, 1'000'000)})).frontCamera);
  EXPECT_FALSE(probed(smallHeic({.exif = exifOfLens(20, 1'000'000)})).frontCamera);
}

TEST(TiffDirectories, OfAPhotographsExifAreRead) {
  const Bytes exif = tiffOf(sharingTags(2, 100), 1);
  EXPECT_FALSE(hasTooManyTags(exif));
  EXPECT_TRUE(hasTooManyTags(tiffOf(sharingTags(100, 1'000'000), 1, 1'000'000)));
  EXPECT_FALSE(hasTooManyTags(bytesOf("no directory at all")));
  EXPECT_FALSE(hasTooManyTags(Bytes()));
}

}  // namespace
}  // namespace quorvin
