#include "media_worker/heif/heif_parts.h"

#include <gtest/gtest.h>

#include "testing/media/heif_pictures.h"
#include "testing/media/probes.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

Bytes big(std::uint64_t value, int size) {
  Bytes bytes;
  for (int i = size - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  return bytes;
}

Bytes boxed(const std::string& type, const Bytes& content) {
  return concatenated({big(content.size() + 8, 4), bytesOf(type), content});
}

Bytes metaWith(const Bytes& content) {
  return concatenated(
      {boxed("ftyp", bytesOf("heic....heic")), boxed("meta", concatenated({big(0, 4), content}))});
}

bool claims(const Bytes& bytes) {
  const FileDescriptor file = fileOf(bytes);
  return hasTooManyParts(*InputFile::open(file.get()));
}

/// Pictures of which each is made of the next, so many times, and the last of tiles.
Bytes tower(int floors, int times) {
  Bytes references;
  for (int floor = 1; floor <= floors; ++floor) {
    Bytes making = concatenated({big(floor, 2), big(times, 2)});
    for (int i = 0; i < times; ++i) making = concatenated({making, big(floor + 1, 2)});
    references = concatenated({references, boxed("dimg", making)});
  }
  return metaWith(boxed("iref", concatenated({big(0, 4), references})));
}

Bytes itemsSaying(std::uint64_t count) {
  return metaWith(boxed("iinf", concatenated({big(1, 1), big(0, 3), big(count, 4)})));
}

/// So many items that all lie in the same bytes.
Bytes itemsInOnePlace(int items, std::uint64_t length, std::size_t bytesBehind) {
  Bytes places = concatenated({big(0, 4), big(0x4400, 2), big(items, 2)});
  for (int i = 1; i <= items; ++i) {
    places = concatenated({places, big(i, 2), big(0, 2), big(1, 2), big(0, 4), big(length, 4)});
  }
  Bytes file = metaWith(boxed("iloc", places));
  file.resize(file.size() + bytesBehind);
  return file;
}

TEST(HeifParts, MayBeTheTilesOfALargeSensor) {
  EXPECT_FALSE(claims(tiledHeic(gradient(256, 192), 64)));
  EXPECT_FALSE(claims(repeatedTileHeic(gradient(64, 64), 32, 24)));
  EXPECT_EQ(rendered(repeatedTileHeic(gradient(64, 64), 4, 3), original()).width, 256);
}

TEST(HeifParts, AreNotTensOfThousandsOfTiles) {
  const Bytes file = repeatedTileHeic(gradient(64, 64), 100, 100);
  EXPECT_TRUE(claims(file));
  std::string reason;
  rendered(file, fitInto(64, 64), &reason);
  EXPECT_EQ(reason, "The picture cannot be decoded.");
  EXPECT_EQ(refusal(file), "The photo is damaged: its header cannot be read.");
}

TEST(HeifParts, AreCountedThroughPicturesThatAreMadeOfOthers) {
  EXPECT_FALSE(claims(tower(3, 10)));
  EXPECT_TRUE(claims(tower(5, 10)));
  EXPECT_TRUE(claims(tower(60, 1)));
}

TEST(HeifParts, AreNotMadeOfThemselves) {
  const Bytes making = concatenated({big(1, 2), big(1, 2), big(1, 2)});
  EXPECT_TRUE(claims(metaWith(boxed("iref", concatenated({big(0, 4), boxed("dimg", making)})))));
}

TEST(HeifParts, AreNotTensOfThousandsOfItems) {
  EXPECT_FALSE(claims(itemsSaying(5'000)));
  EXPECT_TRUE(claims(itemsSaying(20'000)));
}

TEST(HeifParts, LieInBytesOfTheirOwn) {
  EXPECT_FALSE(claims(itemsInOnePlace(3, 1'000'000, 1'000'000)));
  EXPECT_TRUE(claims(itemsInOnePlace(100, 1'000'000, 1'000'000)));
  EXPECT_TRUE(claims(itemsInOnePlace(1'000, 0, 1'000'000)));
}

}  // namespace
}  // namespace quorvin
