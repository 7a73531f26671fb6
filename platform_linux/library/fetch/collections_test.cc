// Albums and smart albums, and what belongs to them.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

using Identifiers = std::vector<std::string>;

TEST(Collections, OffersTheSmartAlbumsInAFixedOrderWithTheUserLibraryFirst) {
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

TEST(Collections, KeepsTheIdentifiersOfSmartAlbumsAcrossOpenings) {
  TestLibrary test;
  const auto before = test.smart(209)->localIdentifier;
  test.library.reset();
  test.library = test.open();
  EXPECT_EQ(test.smart(209)->localIdentifier, before);
}

TEST(Collections, MayHaveNoTitle) {
  TestLibrary test;
  test.gardener.run("UPDATE collections SET title = NULL WHERE subtype = 217");
  EXPECT_EQ(test.smart(217)->localizedTitle, std::nullopt);
}

TEST(Collections, ShowTitlesThatAreNotUtf8WithReplacements) {
  // Whoever wrote them: a message holds nothing else.
  TestLibrary test;
  const std::string album = test.gardener.plantAlbum("title");
  test.gardener.run("UPDATE collections SET title = CAST(X'61FF62' AS TEXT) WHERE ident = '" +
                    album + "'");
  const std::vector<std::string> identifiers = {album};
  const auto found =
      test.library->fetchAssetCollectionsWithLocalIdentifiers(identifiers, nullptr)->firstObject();
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->localizedTitle, "a\uFFFDb");
}

TEST(Collections, EverySmartAlbumListsWhatItsOwnRuleNames) {
  const std::vector<std::pair<std::int64_t, PlantedAsset>> members = {
      {203, {.favorite = true}},    {202, {.mediaType = 2}},
      {210, {.frontCamera = true}}, {213, {.subtypes = 8}},
      {201, {.subtypes = 1}},       {204, {.subtypes = 0x40000}},
      {208, {.subtypes = 0x20000}}, {207, {.burst = "B", .represents = true}},
      {211, {.subtypes = 4}},       {212, {.subtypes = 16}},
      {220, {.subtypes = 0x80000}}, {214, {.animated = true}},
      {217, {.raw = true}},         {205, {.hidden = true}}};
  TestLibrary test;
  test.gardener.plant({.subtypes = 2});  // in none but the user library
  std::vector<Identifiers> planted;
  for (const auto& [subtype, asset] : members) planted.push_back({test.gardener.plant(asset)});
  PHFetchOptions hiddenToo;
  hiddenToo.includeHiddenAssets = true;
  for (std::size_t i = 0; i < members.size(); ++i) {
    const std::int64_t subtype = members[i].first;
    // With default options an index answers, else the rule alone.
    const Identifiers shown = members[i].second.hidden ? Identifiers{} : planted[i];
    EXPECT_EQ(test.list(*test.smart(subtype)), shown) << subtype;
    EXPECT_EQ(test.list(*test.smart(subtype), hiddenToo), planted[i]) << subtype;
  }
}

TEST(Collections, KeepsEverySmartAlbumWithinTheUserLibrary) {
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

TEST(CollectionsDeathTest, IsFatalForAConditionOnCollections) {
  TestLibrary test;
  const PHFetchOptions options = ofType(1);
  EXPECT_DEATH(test.library->fetchAssetCollectionsWithType(PHAssetCollectionType::album,
                                                           PHAssetCollectionSubtype::any, &options),
               "can be neither filtered nor sorted");
}

}  // namespace
}  // namespace quorvin
