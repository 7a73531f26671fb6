#include <gtest/gtest.h>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

class GetAssetOriginalFilename : public PluginTest {
 protected:
  GetAssetOriginalFilename() {
    library.addAsset(photo("p"));
    log.clear();
  }

  RecordedReply nameOf(const std::string& identifier) {
    return plugin.answer("getAssetOriginalFilename", Map{{"assetId", identifier}});
  }
};

TEST_F(GetAssetOriginalFilename, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, "getAssetOriginalFilename", Map{{"assetId", "p"}},
                       {{"assetId", RequiredArgument::Takes::text}}, "Error arguments");
}

TEST_F(GetAssetOriginalFilename, RepliesThePhotosNameBehindAPairedVideo) {
  plugin.platform.resources.add("p", PHAssetResourceType::pairedVideo, "IMG.MOV");
  plugin.platform.resources.add("p", PHAssetResourceType::photo, "IMG.HEIC");
  EXPECT_EQ(nameOf("p").value(), Value("IMG.HEIC"));
  EXPECT_EQ(log.events(),
            (Names{"background.async", "fetchAssetsWithLocalIdentifiers [p] none",
                   "assetResourcesForAsset p", "main.async", "reply getAssetOriginalFilename"}));
}

TEST_F(GetAssetOriginalFilename, RepliesNullForAnAssetWithoutResources) {
  EXPECT_EQ(nameOf("p").value(), Value());
}

TEST_F(GetAssetOriginalFilename, ReportsAnUnknownAssetByTheIdentifierGiven) {
  EXPECT_EQ(nameOf("ABC").error(), (FlutterError{"Error", "Asset not found id = ABC", Value()}));
  EXPECT_EQ(log.count("assetResourcesForAsset"), 0u);
}

TEST_F(GetAssetOriginalFilename, CachesNothing) {
  EXPECT_EQ(nameOf("p").value(), Value());
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

}  // namespace
}  // namespace quorvin
