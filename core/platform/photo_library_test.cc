#include "core/platform/photo_library.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/fakes/fake_fetch_result.h"
#include "testing/fakes/samples.h"

namespace quorvin {
namespace {

FakeFetchResult<PHAsset> resultOf(const std::vector<std::string>& identifiers) {
  std::vector<PHFetchResult<PHAsset>::Object> objects;
  for (const std::string& identifier : identifiers) {
    objects.push_back(std::make_shared<const PHAsset>(photo(identifier)));
  }
  return FakeFetchResult<PHAsset>(std::move(objects));
}

TEST(FetchResult, OfNothingHasNoFirstObject) {
  EXPECT_EQ(resultOf({}).firstObject(), nullptr);
}

TEST(FetchResult, GivesSingleObjectsByIndex) {
  const auto result = resultOf({"a", "b"});
  EXPECT_EQ(result.firstObject()->localIdentifier, "a");
  EXPECT_EQ(result.objectAtIndexedSubscript(1)->localIdentifier, "b");
}

TEST(FetchResult, VisitsEveryObjectInOrderBeforeItReturns) {
  std::string visited;
  resultOf({"a", "b", "c"}).enumerateObjectsUsingBlock([&visited](const PHAsset& asset) {
    visited += asset.localIdentifier;
  });
  EXPECT_EQ(visited, "abc");
}

TEST(FetchResultDeathTest, StopsAtAnIndexOutOfRange) {
  EXPECT_DEATH(resultOf({"a"}).objectAtIndexedSubscript(1),
               "Fatal error: The range of a fetch result is out of bounds");
}

TEST(FetchOptions, StartWithoutAFilterAnOrderOrALimit) {
  const PHFetchOptions options;
  EXPECT_FALSE(options.predicate);
  EXPECT_TRUE(options.sortDescriptors.empty());
  EXPECT_EQ(options.fetchLimit, 0u);
  EXPECT_FALSE(options.includeHiddenAssets);
  EXPECT_FALSE(options.includeAllBurstAssets);
}

TEST(FetchOptions, CopiesAreIndependent) {
  PHFetchOptions original;
  original.predicate = NSPredicate{"mediaType = %d", {1}};
  original.sortDescriptors = {{"creationDate", false}};
  PHFetchOptions copy = original;
  EXPECT_EQ(copy, original);
  copy.predicate->arguments[0] = 2;
  EXPECT_NE(copy, original);
  copy.sortDescriptors[0].ascending = true;
  EXPECT_EQ(original.predicate, (NSPredicate{"mediaType = %d", {1}}));
  EXPECT_FALSE(original.sortDescriptors[0].ascending);
}

}  // namespace
}  // namespace quorvin
