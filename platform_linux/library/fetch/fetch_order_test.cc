// The order of what fetches find, and its pages.
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

TEST(FetchOrder, SortsByDateWithAbsentDatesFirstAndTiesByAddition) {
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

TEST(FetchOrder, OrdersABurstByDateThenByName) {
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

TEST(FetchOrder, AppliesTheLimitAfterPredicateAndOrder) {
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

TEST(FetchOrder, PagesOfOneListingNeitherOverlapNorSkip) {
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

TEST(FetchOrder, MirrorsAscendingInDescendingOrderEverywhere) {
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

}  // namespace
}  // namespace quorvin
