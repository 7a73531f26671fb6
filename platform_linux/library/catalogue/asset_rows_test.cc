#include "platform_linux/library/catalogue/asset_rows.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

TEST(AssetRows, ListResourcesInTheOrderOfTheirTypes) {
  using Type = PHAssetResourceType;
  const std::vector<Type> order = {Type::photo,
                                   Type::video,
                                   Type::audio,
                                   Type::alternatePhoto,
                                   Type::pairedVideo,
                                   Type::fullSizePhoto,
                                   Type::fullSizeVideo,
                                   Type::fullSizePairedVideo,
                                   Type::adjustmentBasePhoto,
                                   Type::adjustmentBasePairedVideo,
                                   Type::adjustmentBaseVideo,
                                   Type::adjustmentData,
                                   Type::photoProxy};
  TestLibrary test;
  const std::string identifier = test.gardener.plant({});
  const std::int64_t row = test.gardener.integer("SELECT id FROM assets");
  const auto done = test.library->catalogue()->change([&](Database& database) -> Done {
    for (auto type = order.rbegin(); type != order.rend(); ++type) {
      NewResource resource;
      resource.type = *type;
      resource.path = std::to_string(static_cast<int>(*type));
      if (!insertResource(database, row, resource)) return database.lastError("Inserting");
    }
    return Null{};
  });
  ASSERT_TRUE(done) << done.error().reason;
  std::vector<Type> listed;
  for (const auto& resource : test.library->assetResourcesForAsset({.localIdentifier = identifier}))
    listed.push_back(resource->type);
  EXPECT_EQ(listed, order);
}

}  // namespace
}  // namespace quorvin
