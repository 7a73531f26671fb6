#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

using Identifiers = std::vector<std::string>;

Identifiers reversed(Identifiers identifiers) {
  std::reverse(identifiers.begin(), identifiers.end());
  return identifiers;
}

TEST(LibraryFetch, OffersTheSmartAlbumsInAFixedOrderWithTheUserLibraryFirst) {
  TestLibrary test;
  const auto albums = test.library->fetchAssetCollectionsWithType(
      PHAssetCollectionType::smartAlbum, PHAssetCollectionSubtype::any, nullptr);
  std::vector<std::pair<std::int64_t, std::string>> found;
  albums->enumerateObjectsUsingBlock([&found](const PHAssetCollection& album) {
    found.emplace_back(album.assetCollectionSubtype, album.localizedTitle.value_or("none"));
  });
  const std::vector<std::pair<std::int64_t, std::string>> expected = {
      {209, "Recents"},     {203, "Favorites"},   {202, "Videos"},     {210, "Selfies"},
      {213, "Live Photos"}, {201, "Panoramas"},   {204, "Time-lapse"}, {208, "Slo-mo"},
      {207, "Bursts"},      {211, "Screenshots"}, {212, "Portrait"},   {220, "Screen Recordings"},
      {214, "Animated"},    {217, "RAW"},         {205, "Hidden"}};
  EXPECT_EQ(found, expected);
}

TEST(LibraryFetch, KeepsTheIdentifiersOfSmartAlbumsAcrossOpenings) {
  TestLibrary test;
  const auto before = test.smart(209)->localIdentifier;
  test.library.reset();
  test.library = test.open();
  EXPECT_EQ(test.smart(209)->localIdentifier, before);
}

TEST(LibraryFetch, FindsAnAlbumOnlyUnderItsOwnTypeAndSubtype) {
  TestLibrary test;
  test.gardener.plantAlbum("Trip");
  test.gardener.plantAlbum("Camera", 6);
  const auto count = [&test](PHAssetCollectionType type, std::int64_t subtype) {
    return test.library->fetchAssetCollectionsWithType(type, subtype, nullptr)->count();
  };
  EXPECT_EQ(count(PHAssetCollectionType::album, 2), 1U);
  EXPECT_EQ(count(PHAssetCollectionType::album, 6), 1U);
  EXPECT_EQ(count(PHAssetCollectionType::album, PHAssetCollectionSubtype::any), 2U);
  EXPECT_EQ(count(PHAssetCollectionType::smartAlbum, 2), 0U);
  EXPECT_EQ(count(PHAssetCollectionType::album, 209), 0U);
}

TEST(LibraryFetch, ListsUserAlbumsInTheOrderOfTheirCreation) {
  TestLibrary test;
  const Identifiers albums = {test.gardener.plantAlbum("B"), test.gardener.plantAlbum("A"),
                              test.gardener.plantAlbum("A")};
  Identifiers found;
  test.library->fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr)
      ->enumerateObjectsUsingBlock(
          [&found](const PHAssetCollection& album) { found.push_back(album.localIdentifier); });
  EXPECT_EQ(found, albums);
}

TEST(LibraryFetch, CarriesTitlesByteForByte) {
  TestLibrary test;
  test.gardener.plantAlbum("");
  test.gardener.plantAlbum("Söme  ✓ ");
  test.gardener.run("UPDATE collections SET title = NULL WHERE subtype = 217");
  const auto albums =
      test.library->fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr);
  EXPECT_EQ(albums->objectAtIndexedSubscript(0)->localizedTitle, "");
  EXPECT_EQ(albums->objectAtIndexedSubscript(1)->localizedTitle, "Söme  ✓ ");
  EXPECT_EQ(test.smart(217)->localizedTitle, std::nullopt);
}

TEST(LibraryFetch, ListsTheUserLibraryInOrderOfAddition) {
  TestLibrary test;
  const Identifiers assets = {test.gardener.plant({.created = 9}),
                              test.gardener.plant({.created = 3}),
                              test.gardener.plant({.created = 5})};
  EXPECT_EQ(test.list(*test.smart(209)), assets);
}

TEST(LibraryFetch, ListsAUserAlbumInItsOwnOrder) {
  TestLibrary test;
  const auto first = test.gardener.plant({.created = 1});
  const auto second = test.gardener.plant({.created = 2});
  const auto album = test.gardener.plantAlbum("Trip");
  test.gardener.addToAlbum(album, second);
  test.gardener.addToAlbum(album, first);
  EXPECT_EQ(test.list({.localIdentifier = album}), (Identifiers{second, first}));
  EXPECT_EQ(test.list({.localIdentifier = album}, byDate(true)), (Identifiers{first, second}));
}

TEST(LibraryFetch, SortsByDateWithAbsentDatesFirstAndTiesByAddition) {
  TestLibrary test;
  const auto late = test.gardener.plant({.created = 2'000'000'001});
  const auto early = test.gardener.plant({.created = -5});
  const auto undated = test.gardener.plant({.created = std::nullopt});
  const auto tie = test.gardener.plant({.created = 2'000'000'001});
  const auto nearly = test.gardener.plant({.created = 2'000'000'000});
  const Identifiers ascending = {undated, early, nearly, late, tie};
  EXPECT_EQ(test.list(*test.smart(209), byDate(true)), ascending);
  EXPECT_EQ(test.list(*test.smart(209), byDate(false)), reversed(ascending));
}

TEST(LibraryFetch, CarriesAbsentDatesAsNone) {
  TestLibrary test;
  test.gardener.plant({.created = std::nullopt});
  const auto asset =
      test.library->fetchAssetsInAssetCollection(*test.smart(209), nullptr)->firstObject();
  EXPECT_FALSE(asset->creationDate.has_value());
  EXPECT_FALSE(asset->modificationDate.has_value());
}

TEST(LibraryFetch, CarriesEveryPropertyOfAnAsset) {
  TestLibrary test;
  const auto identifier = test.gardener.plant({.mediaType = 2,
                                               .created = 1'500'000'000,
                                               .subtypes = 0x20000,
                                               .favorite = true,
                                               .burst = "B1",
                                               .represents = true,
                                               .burstSelection = 3});
  test.gardener.run(
      "UPDATE assets SET duration = 2.5, modified_ns = -1500000, width = 7, height = 9");
  const auto asset =
      test.library->fetchAssetsWithLocalIdentifiers({{identifier}}, nullptr)->firstObject();
  ASSERT_NE(asset, nullptr);
  EXPECT_EQ(asset->localIdentifier, identifier);
  EXPECT_EQ(asset->mediaType, PHAssetMediaType::video);
  EXPECT_EQ(asset->mediaSubtypes, 0x20000U);
  EXPECT_EQ(asset->pixelWidth, 7);
  EXPECT_EQ(asset->pixelHeight, 9);
  EXPECT_EQ(asset->creationDate, NSDate(1.5));
  EXPECT_EQ(asset->modificationDate, NSDate(-0.0015));
  EXPECT_EQ(asset->duration, 2.5);
  EXPECT_TRUE(asset->isFavorite);
  EXPECT_FALSE(asset->isHidden);
  EXPECT_EQ(asset->burstIdentifier, "B1");
  EXPECT_TRUE(asset->representsBurst);
  EXPECT_EQ(asset->burstSelectionTypes, 3U);
}

TEST(LibraryFetch, LeavesOutHiddenAssetsUnlessTheyAreAskedFor) {
  TestLibrary test;
  const auto shown = test.gardener.plant({});
  const auto hidden = test.gardener.plant({.hidden = true});
  PHFetchOptions all;
  all.includeHiddenAssets = true;
  EXPECT_EQ(test.list(*test.smart(209)), Identifiers{shown});
  EXPECT_EQ(test.list(*test.smart(209), all), (Identifiers{shown, hidden}));
  EXPECT_EQ(test.list(*test.smart(205)), Identifiers{});
  EXPECT_EQ(test.list(*test.smart(205), all), Identifiers{hidden});
}

TEST(LibraryFetch, ShowsOfABurstOnlyTheRepresentativeAndTheUsersPicks) {
  TestLibrary test;
  const auto automatic = test.gardener.plant({.created = 1, .burst = "B", .burstSelection = 1});
  const auto representative = test.gardener.plant({.created = 2, .burst = "B", .represents = true});
  const auto picked = test.gardener.plant({.created = 3, .burst = "B", .burstSelection = 2});
  EXPECT_EQ(test.list(*test.smart(209)), (Identifiers{representative, picked}));
  EXPECT_EQ(test.list(*test.smart(207)), (Identifiers{representative, picked}));
  PHFetchOptions all;
  all.includeAllBurstAssets = true;
  EXPECT_EQ(test.list(*test.smart(209), all), (Identifiers{automatic, representative, picked}));
  EXPECT_EQ(TestLibrary::identifiersOf(*test.library->fetchAssetsWithBurstIdentifier("B", &all)),
            (Identifiers{automatic, representative, picked}));
  EXPECT_EQ(TestLibrary::identifiersOf(*test.library->fetchAssetsWithBurstIdentifier("B", nullptr)),
            (Identifiers{representative, picked}));
  EXPECT_EQ(test.library->fetchAssetsWithBurstIdentifier("b", &all)->count(), 0U);
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

TEST(LibraryFetch, OrdersABurstByDateThenByName) {
  TestLibrary test;
  const auto second = test.gardener.plant({.created = 5, .burst = "B", .represents = true});
  const auto first = test.gardener.plant({.created = 5, .burst = "B"});
  const auto earliest = test.gardener.plant({.created = 4, .burst = "B"});
  const auto name = [&test](const std::string& asset, const std::string& name) {
    test.gardener.run(
        "INSERT INTO resources(asset, pos, type, name, uti, path, size, hash) SELECT"
        " id, 0, 1, '" +
        name +
        "', 'public.jpeg', ident, 1, x'00' FROM assets"
        " WHERE ident = '" +
        asset + "'");
  };
  name(second, "b.jpg");
  name(first, "a.jpg");
  name(earliest, "c.jpg");
  PHFetchOptions all;
  all.includeAllBurstAssets = true;
  EXPECT_EQ(TestLibrary::identifiersOf(*test.library->fetchAssetsWithBurstIdentifier("B", &all)),
            (Identifiers{earliest, first, second}));
}

TEST(LibraryFetch, FindsHiddenAssetsAndBurstMembersByIdentifier) {
  TestLibrary test;
  const auto hidden = test.gardener.plant({.hidden = true});
  const auto member = test.gardener.plant({.burst = "B"});
  const Identifiers asked = {member, hidden, member};
  EXPECT_EQ(
      TestLibrary::identifiersOf(*test.library->fetchAssetsWithLocalIdentifiers(asked, nullptr)),
      (Identifiers{hidden, member}));
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

TEST(LibraryFetch, AppliesTheLimitAfterPredicateAndOrder) {
  TestLibrary test;
  Identifiers videos;
  for (int i = 0; i < 300; ++i) {
    test.gardener.plant({.mediaType = 1, .created = i});
    videos.push_back(test.gardener.plant({.mediaType = 2, .created = i}));
  }
  for (const std::size_t limit : {1U, 100U, 128U, 129U, 299U, 300U, 301U, 5000U}) {
    PHFetchOptions options = ofType(2);
    options.sortDescriptors = {{"creationDate", false}};
    options.fetchLimit = limit;
    Identifiers expected = reversed(videos);
    expected.resize(std::min<std::size_t>(limit, 300));
    EXPECT_EQ(test.list(*test.smart(209), options), expected) << limit;
    EXPECT_EQ(test.list(*test.smart(202), options), expected) << limit;
  }
}

TEST(LibraryFetch, PagesOfOneListingNeitherOverlapNorSkip) {
  TestLibrary test;
  Identifiers assets;
  for (int i = 0; i < 1000; ++i) {
    assets.push_back(test.gardener.plant({.created = i / 10}));
  }
  for (const bool ascending : {true, false}) {
    Identifiers listed;
    for (std::size_t start = 0; start < 1000; start += 70) {
      const PHFetchOptions options = byDate(ascending, start + 70);
      const auto result = test.library->fetchAssetsInAssetCollection(*test.smart(209), &options);
      const std::size_t end = std::min(start + 70, result->count());
      for (const auto& asset : result->objectsAtIndexes({start, end})) {
        listed.push_back(asset->localIdentifier);
      }
    }
    EXPECT_EQ(listed, ascending ? assets : reversed(assets));
  }
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

TEST(LibraryFetch, KeepsEverySmartAlbumWithinTheUserLibrary) {
  TestLibrary test;
  std::uint64_t bits = 12345;
  const auto chance = [&bits](int oneIn) {
    bits = bits * 6364136223846793005U + 1442695040888963407U;
    return (bits >> 33) % static_cast<std::uint64_t>(oneIn) == 0;
  };
  for (int i = 0; i < 400; ++i) {
    PlantedAsset asset;
    asset.mediaType = i % 4;
    asset.created = chance(9) ? std::nullopt : std::optional<std::int64_t>(i % 50);
    for (const std::int64_t bit : {1, 2, 4, 8, 16, 0x20000, 0x40000, 0x80000}) {
      if (chance(4)) asset.subtypes |= bit;
    }
    asset.favorite = chance(3);
    asset.hidden = chance(4);
    if (chance(3)) asset.burst = "B" + std::to_string(i % 5);
    asset.represents = chance(4);
    asset.burstSelection = chance(2) ? 2 : 0;
    asset.frontCamera = chance(3);
    asset.animated = chance(3);
    asset.raw = chance(3);
    test.gardener.plant(asset);
  }
  const auto albums = test.library->fetchAssetCollectionsWithType(
      PHAssetCollectionType::smartAlbum, PHAssetCollectionSubtype::any, nullptr);
  for (int flags = 0; flags < 64; ++flags) {
    PHFetchOptions options;
    options.includeHiddenAssets = (flags & 1) != 0;
    options.includeAllBurstAssets = (flags & 2) != 0;
    if ((flags & 4) != 0) options.sortDescriptors = {{"creationDate", (flags & 8) != 0}};
    if ((flags & 16) != 0)
      options.predicate = NSPredicate{"mediaType == %d || mediaType == %d", {1, 2}};
    if ((flags & 32) != 0) options.predicate = NSPredicate{"mediaType = %d", {2}};
    const Identifiers everything = test.list(*test.smart(209), options);
    std::size_t members = 0;
    albums->enumerateObjectsUsingBlock([&](const PHAssetCollection& album) {
      const Identifiers listed = test.list(album, options);
      if (album.assetCollectionSubtype != 209) members += listed.size();
      // A subsequence: the same order, and nothing that the user library does not list.
      auto place = everything.begin();
      for (const std::string& identifier : listed) {
        place = std::find(place, everything.end(), identifier);
        ASSERT_NE(place, everything.end()) << album.localizedTitle.value_or("") << flags;
        ++place;
      }
    });
    EXPECT_GT(members, 0U) << flags;
  }
}

TEST(LibraryFetch, MirrorsAscendingInDescendingOrderEverywhere) {
  TestLibrary test;
  for (int i = 0; i < 300; ++i) {
    test.gardener.plant({.mediaType = i % 3,
                         .created = i % 7 == 0 ? std::nullopt : std::optional<std::int64_t>(i % 11),
                         .favorite = i % 2 == 0});
  }
  for (const std::int64_t subtype : {209, 203, 202}) {
    for (const char* key : {"creationDate", "modificationDate", "mediaType", "localIdentifier"}) {
      PHFetchOptions options;
      options.sortDescriptors = {{key, true}};
      const Identifiers ascending = test.list(*test.smart(subtype), options);
      options.sortDescriptors = {{key, false}};
      EXPECT_EQ(test.list(*test.smart(subtype), options), reversed(ascending)) << key;
    }
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

TEST(LibraryFetchDeathTest, IsFatalForAConditionOnCollections) {
  TestLibrary test;
  const PHFetchOptions options = ofType(1);
  EXPECT_DEATH(test.library->fetchAssetCollectionsWithType(PHAssetCollectionType::album,
                                                           PHAssetCollectionSubtype::any, &options),
               "can be neither filtered nor sorted");
}

}  // namespace
}  // namespace quorvin
