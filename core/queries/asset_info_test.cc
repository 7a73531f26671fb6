#include <gtest/gtest.h>

#include "core/queries/asset_record.h"
#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

class GetAssetInfo : public PluginTest {
 protected:
  GetAssetInfo() {
    asset.pixelWidth = 12;
    asset.isFavorite = true;
    library.addAsset(asset);
    log.clear();
  }

  PHAsset asset = photo("p", 20);
};

TEST_F(GetAssetInfo, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, "getAssetInfo", Map{{"assetId", "p"}},
                       {{"assetId", RequiredArgument::Takes::text}}, "Error arguments");
}

TEST_F(GetAssetInfo, RepliesTheAssetsRecord) {
  EXPECT_EQ(plugin.answer("getAssetInfo", Map{{"assetId", "p"}}).value(), Value(assetToMap(asset)));
  EXPECT_EQ(log.eventsOf("fetch"), Names{"fetchAssetsWithLocalIdentifiers [p] none"});
}

TEST_F(GetAssetInfo, ReportsAnUnknownAssetByTheIdentifierGiven) {
  EXPECT_EQ(plugin.answer("getAssetInfo", Map{{"assetId", "ABC"}}).error(),
            (FlutterError{"Error", "Asset not found id = ABC", Value()}));
  EXPECT_EQ(plugin.answer("getAssetInfo", Map{{"assetId", ""}}).error().message,
            "Asset not found id = ");
}

TEST_F(GetAssetInfo, CachesNothing) {
  plugin.answer("getAssetInfo", Map{{"assetId", "p"}});
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

using GetAssetInfoDeathTest = GetAssetInfo;

TEST_F(GetAssetInfoDeathTest, StopsAtADateBeyondItsRange) {
  library.addAsset(photo("far", -1e300));
  EXPECT_DEATH(plugin.answer("getAssetInfo", Map{{"assetId", "far"}}),
               "Fatal error: a date is out of the range of milliseconds in 64 bits");
}

}  // namespace
}  // namespace quorvin
