#include "platform_linux/library/upkeep/administration.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

TEST(DescribeLibrary, CountsWhatTheLibraryHolds) {
  TestLibrary test;
  const auto album = test.gardener.plantAlbum("Trip");
  test.gardener.addToAlbum(album, test.gardener.plant({.created = 2'000'000'000, .subtypes = 8}));
  test.gardener.addToAlbum(album, test.gardener.plant({.created = 5, .hidden = true}));
  test.gardener.plant({.mediaType = 2, .created = 9'000'000'000, .favorite = true});
  test.gardener.plant({.mediaType = 3, .created = std::nullopt});
  test.gardener.plant({.mediaType = 0, .burst = "B", .represents = true});
  test.gardener.plant({.burst = "B"});
  test.gardener.run(
      "INSERT INTO assets(ident, media_type, trashed_ns) VALUES ('gone', 1, unixepoch() * "
      "1000000000)");
  test.gardener.run(
      "INSERT INTO resources(asset, pos, type, name, uti, path, size, hash) VALUES"
      " (1, 0, 1, 'a', 'u', 'p', 100, x''), (1, 4, 9, 'b', 'u', 'q', 11, x'')");
  ASSERT_TRUE(storeAuthorization(test.folder / "library", PHAuthorizationStatus::limited));
  const auto summary = describeLibrary(test.folder / "library");
  ASSERT_TRUE(summary);
  EXPECT_EQ(summary->status, PHAuthorizationStatus::limited);
  EXPECT_EQ(summary->photos, 3);
  EXPECT_EQ(summary->videos, 1);
  EXPECT_EQ(summary->audio, 1);
  EXPECT_EQ(summary->others, 1);
  EXPECT_EQ(summary->livePhotos, 1);
  EXPECT_EQ(summary->bursts, 1);
  EXPECT_EQ(summary->hidden, 1);
  EXPECT_EQ(summary->favorites, 1);
  EXPECT_EQ(summary->deleted, 1);
  EXPECT_EQ(summary->originalFiles, 2);
  EXPECT_EQ(summary->originalBytes, 111);
  EXPECT_EQ(summary->oldest, NSDate(0));
  EXPECT_EQ(summary->newest, NSDate(9));
  ASSERT_EQ(summary->albums.size(), 1U);
  EXPECT_EQ(summary->albums[0].localIdentifier, album);
  EXPECT_EQ(summary->albums[0].title, "Trip");
  EXPECT_EQ(summary->albums[0].assets, 1);
  ASSERT_EQ(summary->smartAlbums.size(), 15U);
  EXPECT_EQ(summary->smartAlbums[0].title, "Recents");
  EXPECT_EQ(summary->smartAlbums[0].assets, 4);
}

TEST(DescribeLibrary, DescribesAnEmptyLibrary) {
  TestLibrary test;
  const auto summary = describeLibrary(test.folder / "library");
  ASSERT_TRUE(summary);
  EXPECT_EQ(summary->photos, 0);
  EXPECT_EQ(summary->originalBytes, 0);
  EXPECT_FALSE(summary->oldest.has_value());
}

TEST(DescribeLibrary, MakesNoLibrary) {
  TemporaryFolder folder;
  const auto summary = describeLibrary(folder / "missing");
  ASSERT_FALSE(summary);
  EXPECT_NE(summary.error().sentence().find("There is no photo library"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

}  // namespace
}  // namespace quorvin
