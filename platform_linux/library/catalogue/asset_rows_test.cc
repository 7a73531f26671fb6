#include "platform_linux/library/catalogue/asset_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

TEST(AssetRows, ListResourcesInTheOrderOfTheirTypes) {
  // What was taken, with its movie; what was made of it; what it was made from.
  const std::vector<int> order = {1, 2, 3, 4, 9, 5, 6, 10, 8, 11, 12, 7, 19};
  TestLibrary test;
  const std::string identifier = test.gardener.plant({});
  const std::int64_t row = test.gardener.integer("SELECT id FROM assets");
  const auto done = test.library->catalogue()->change([&](Database& database) -> Done {
    for (auto type = order.rbegin(); type != order.rend(); ++type) {
      NewResource resource;
      resource.type = PHAssetResourceType{*type};
      resource.path = std::to_string(*type);
      if (!insertResource(database, row, resource)) return database.lastError("Inserting");
    }
    return Null{};
  });
  ASSERT_TRUE(done) << done.error().sentence();
  std::vector<int> listed;
  for (const auto& resource : test.library->assetResourcesForAsset({.localIdentifier = identifier}))
    listed.push_back(static_cast<int>(resource->type));
  EXPECT_EQ(listed, order);
}

}  // namespace
}  // namespace quorvin
