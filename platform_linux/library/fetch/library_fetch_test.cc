// What fetches of assets find.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "testing/platform/no_more_descriptors.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

using Identifiers = std::vector<std::string>;

TEST(LibraryFetch, CarriesAbsentDatesAsNone) {
  TestLibrary test;
  test.gardener.plant({.created = std::nullopt});
  const auto asset =
      test.library->fetchAssetsInAssetCollection(*test.smart(209), nullptr)->firstObject();
  EXPECT_FALSE(asset->creationDate.has_value());
  EXPECT_FALSE(asset->modificationDate.has_value());
}

TEST(LibraryFetch, ShowsTheUsersPicksAmongTheBurstsToo) {
  TestLibrary test;
  test.gardener.plant({.created = 1, .burst = "B", .burstSelection = 1});
  const auto representative = test.gardener.plant({.created = 2, .burst = "B", .represents = true});
  const auto picked = test.gardener.plant({.created = 3, .burst = "B", .burstSelection = 2});
  EXPECT_EQ(test.list(*test.smart(207)), (Identifiers{representative, picked}));
}

TEST(LibraryFetch, FollowsABurstMembersChangeOfRole) {
  TestLibrary test;
  const auto member = test.gardener.plant({.burst = "B"});
  EXPECT_EQ(test.list(*test.smart(209)), Identifiers{});
  test.gardener.run("UPDATE assets SET represents = 1");
  EXPECT_EQ(test.list(*test.smart(209)), Identifiers{member});
  test.gardener.run("UPDATE assets SET represents = 0, burst_sel = 1");
  EXPECT_EQ(test.list(*test.smart(209)), Identifiers{});
  test.gardener.run("UPDATE assets SET burst_id = NULL");
  EXPECT_EQ(test.list(*test.smart(209)), Identifiers{member});
}

TEST(LibraryFetch, FindsNothingUnderAnythingButTheWholeIdentifier) {
  TestLibrary test;
  const auto asset = test.gardener.plant({});
  std::string lower = asset;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const std::string& wrong : {std::string(), asset.substr(0, 36), lower, asset + " ",
                                   "%" + asset, std::string("\xFF\xFE"), asset + '\0'}) {
    EXPECT_EQ(test.library->fetchAssetsWithLocalIdentifiers({{wrong}}, nullptr)->count(), 0U)
        << wrong;
    EXPECT_EQ(test.library->fetchAssetCollectionsWithLocalIdentifiers({{wrong}}, nullptr)->count(),
              0U);
  }
}

TEST(LibraryFetch, FindsTensOfThousandsOfIdentifiersAtOnce) {
  TestLibrary test;
  test.gardener.run(
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 40000) "
      "INSERT INTO assets(ident, media_type) SELECT 'asset ' || i, 1 FROM n");
  Identifiers asked;
  for (int i = 40000; i > 0; --i) asked.push_back("asset " + std::to_string(i));
  const auto found = test.library->fetchAssetsWithLocalIdentifiers(asked, nullptr);
  EXPECT_EQ(found->count(), 40000U);
  EXPECT_EQ(found->firstObject()->localIdentifier, "asset 1");
  PHFetchOptions images = ofType(2);
  EXPECT_EQ(test.library->fetchAssetsWithLocalIdentifiers(asked, &images)->count(), 0U);
}

TEST(LibraryFetch, CountsByPredicateInEveryAlbum) {
  TestLibrary test;
  const auto album = test.gardener.plantAlbum("Trip");
  for (int i = 0; i < 7; ++i) {
    test.gardener.addToAlbum(album,
                             test.gardener.plant({.mediaType = 1 + i % 3, .favorite = true}));
  }
  const auto count = [&test](const std::string& collection, const NSPredicate& predicate) {
    PHFetchOptions options;
    options.predicate = predicate;
    return test.library->fetchAssetsInAssetCollection({.localIdentifier = collection}, &options)
        ->count();
  };
  for (const auto& collection :
       {album, test.smart(209)->localIdentifier, test.smart(203)->localIdentifier}) {
    EXPECT_EQ(count(collection, {"mediaType = %d", {1}}), 3U);
    EXPECT_EQ(count(collection, {"mediaType = %d", {2}}), 2U);
    EXPECT_EQ(count(collection, {"mediaType == %d || mediaType == %d", {1, 2}}), 5U);
    EXPECT_EQ(count(collection, {"mediaType = %d || mediaType = %d ", {1, 3}}), 5U);
    EXPECT_EQ(count(collection, {"!(mediaType = 1) && isFavorite = 1", {}}), 4U);
    EXPECT_EQ(count(collection, {"mediaType = 0", {}}), 0U);
  }
}

TEST(LibraryFetch, KeepsWhatItFoundWhenTheLibraryChanges) {
  TestLibrary test;
  Identifiers assets;
  for (int i = 0; i < 200; ++i) assets.push_back(test.gardener.plant({.created = i}));
  const auto few = byDate(true, 10);
  const auto all = byDate(true);
  const auto small = test.library->fetchAssetsInAssetCollection(*test.smart(209), &few);
  const auto large = test.library->fetchAssetsInAssetCollection(*test.smart(209), &all);
  test.gardener.run("UPDATE assets SET trashed_ns = 1 WHERE id <= 100");
  test.gardener.plant({.created = 0});
  EXPECT_EQ(small->count(), 10U);
  EXPECT_EQ(large->count(), 200U);
  EXPECT_EQ(TestLibrary::identifiersOf(*small), Identifiers(assets.begin(), assets.begin() + 10));
  EXPECT_EQ(TestLibrary::identifiersOf(*large), assets);
  EXPECT_EQ(test.list(*test.smart(209), all).size(), 101U);
}

TEST(LibraryFetch, KeepsMoreResultsThanThereAreDescriptorsFor) {
#ifdef QUORVIN_SANITIZED
  GTEST_SKIP() << "the sanitizer needs descriptors to look at an object";
#endif
  TestLibrary test;
  const auto recents = test.smart(209);
  Identifiers planted = {test.gardener.plant({.created = 0})};
  const NoMoreDescriptors tight;
  std::vector<FetchResult<PHAsset>> results;
  const PHFetchOptions newestFirst = byDate(false);
  for (int i = 1; i <= 20; ++i) {
    results.push_back(test.library->fetchAssetsInAssetCollection(*recents, &newestFirst));
    planted.push_back(test.gardener.plant({.created = i}));
  }
  test.gardener.run("UPDATE assets SET trashed_ns = 1 WHERE id % 3 = 0");
  for (std::size_t i = 0; i < results.size(); ++i) {
    Identifiers expected(planted.begin(), planted.begin() + static_cast<std::ptrdiff_t>(i) + 1);
    std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(TestLibrary::identifiersOf(*results[i]), expected);
  }
  EXPECT_EQ(test.list(*recents).size(), 14U);
}

TEST(LibraryFetch, LetsTheLogBeEmptiedWhenAFullDiskNeedsThatAndKeepsWhatItFound) {
  TestLibrary test;
  const Identifiers planted = {test.gardener.plant({}), test.gardener.plant({})};
  const auto result = test.library->fetchAssetsInAssetCollection(*test.smart(209), nullptr);
  test.gardener.plant({});
  const Done full = test.library->catalogue()->change([](Database&) -> Done {
    return Failure(LibraryErrorCode::notEnoughSpace, "There is no space.");
  });
  EXPECT_FALSE(full);
  EXPECT_EQ(std::filesystem::file_size(test.folder / "library/library.sqlite-wal"), 0U);
  EXPECT_EQ(TestLibrary::identifiersOf(*result), planted);
}

TEST(LibraryFetch, SeesWhatOthersCommittedInTheNextFetch) {
  TestLibrary test;
  const auto other = test.open();
  const auto count = [](Library& library, const PHAssetCollection& album) {
    return library.fetchAssetsInAssetCollection(album, nullptr)->count();
  };
  for (std::size_t i = 0; i < 20; ++i) {
    EXPECT_EQ(count(*test.library, *test.smart(209)), i);
    EXPECT_EQ(count(*other, *test.smart(209)), i);
    test.gardener.plant({.created = std::nullopt});
    const auto album = test.gardener.plantAlbum("A");
    EXPECT_EQ(other->fetchAssetCollectionsWithLocalIdentifiers({{album}}, nullptr)->count(), 1U);
  }
}

TEST(LibraryFetch, LeavesDeletedAssetsOutOfEveryFetch) {
  TestLibrary test;
  const auto album = test.gardener.plantAlbum("Trip");
  const auto asset = test.gardener.plant({.burst = "B", .represents = true});
  test.gardener.addToAlbum(album, asset);
  test.gardener.run("UPDATE assets SET trashed_ns = 1");
  EXPECT_EQ(test.list(*test.smart(209)), Identifiers{});
  EXPECT_EQ(test.list({.localIdentifier = album}), Identifiers{});
  PHFetchOptions all;
  all.includeAllBurstAssets = true;
  all.includeHiddenAssets = true;
  EXPECT_EQ(test.list(*test.smart(209), all), Identifiers{});
  EXPECT_EQ(test.library->fetchAssetsWithBurstIdentifier("B", &all)->count(), 0U);
  EXPECT_EQ(test.library->fetchAssetsWithLocalIdentifiers({{asset}}, nullptr)->count(), 0U);
  EXPECT_FALSE(test.library->storedResources(asset));
}

TEST(LibraryFetch, FailsInACatalogueThatCannotBeReadAndFindsEverythingAfterwards) {
  TestLibrary test;
  const auto asset = test.gardener.plant({});
  const PHAssetCollection recents = *test.smart(209);
  test.gardener.run("ALTER TABLE assets RENAME TO elsewhere");
  for (const PHFetchOptions& options : {PHFetchOptions(), byDate(true), byDate(true, 10)}) {
    EXPECT_THROW(test.list(recents, options), LibraryUnreadable);
  }
  EXPECT_THROW(test.library->fetchAssetsWithLocalIdentifiers({{asset}}, nullptr),
               LibraryUnreadable);
  const auto stored = test.library->storedResources(asset);
  ASSERT_FALSE(stored);
  EXPECT_TRUE(stored.error().is(LibraryErrorCode::internal));
  test.gardener.run("ALTER TABLE elsewhere RENAME TO assets");
  for (const PHFetchOptions& options : {PHFetchOptions(), byDate(true), byDate(true, 10)}) {
    EXPECT_EQ(test.list(recents, options), Identifiers{asset});
  }
  EXPECT_TRUE(test.library->storedResources(asset));
}

TEST(LibraryFetch, HasNoFirstObjectWhenItFoundNothing) {
  TestLibrary test;
  EXPECT_EQ(test.library->fetchAssetsInAssetCollection(*test.smart(209), nullptr)->firstObject(),
            nullptr);
}

TEST(LibraryFetch, OutlivesTheLibraryObject) {
  TestLibrary test;
  const auto asset = test.gardener.plant({});
  const auto result = test.library->fetchAssetsInAssetCollection(*test.smart(209), nullptr);
  test.library.reset();
  EXPECT_EQ(TestLibrary::identifiersOf(*result), Identifiers{asset});
}

TEST(LibraryFetchDeathTest, IsFatalForAnIndexOutOfRange) {
  TestLibrary test;
  test.gardener.plant({});
  const auto result = test.library->fetchAssetsInAssetCollection(*test.smart(209), nullptr);
  EXPECT_DEATH(result->objectsAtIndexes({0, 2}), "Index out of range: 0..<2 of 1");
  EXPECT_DEATH(result->objectsAtIndexes({1, 0}), "Index out of range");
  EXPECT_DEATH(result->objectAtIndexedSubscript(1), "Index out of range");
}

}  // namespace
}  // namespace quorvin
