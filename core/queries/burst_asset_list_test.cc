#include <gtest/gtest.h>

#include "core/queries/asset_record.h"
#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

/// A burst of ten shots, of which the fourth represents it and the seventh was picked.
class GetBurstAssetList : public PluginTest {
 protected:
  GetBurstAssetList() {
    for (int i = 0; i < 10; ++i) {
      PHAsset shot = burstMember("b" + std::to_string(i), "burst", i == 3);
      if (i == 6) shot.burstSelectionTypes = PHAssetBurstSelectionType::userPick;
      library.addAsset(shot);
      shots.emplace_back(assetToMap(shot));
    }
    library.addAsset(photo("p"));
    log.clear();
  }

  RecordedReply burstOf(const std::string& identifier) {
    return plugin.answer("getBurstAssetList", Map{{"assetId", identifier}});
  }

  List shots;
};

TEST_F(GetBurstAssetList, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, "getBurstAssetList", Map{{"assetId", "b3"}},
                       {{"assetId", RequiredArgument::Takes::text}}, "Error arguments");
}

TEST_F(GetBurstAssetList, RepliesTheRecordsOfAllShotsInTheOrderOfTheFetch) {
  EXPECT_EQ(burstOf("b3").value(), Value(shots));
}

TEST_F(GetBurstAssetList, LooksTheAssetUpThenAsksForTheWholeBurst) {
  burstOf("b3");
  EXPECT_EQ(log.eventsOf("fetch"),
            (Names{"fetchAssetsWithLocalIdentifiers [b3] none",
                   "fetchAssetsWithBurstIdentifier burst {all burst assets}"}));
}

TEST_F(GetBurstAssetList, CachesEveryShot) {
  burstOf("b3");
  EXPECT_EQ(plugin.manager().cachedIdentifiers(),
            (Names{"b0", "b1", "b2", "b3", "b4", "b5", "b6", "b7", "b8", "b9"}));
  log.clear();
  EXPECT_NE(plugin.manager().getPHAsset("b9"), nullptr);
  EXPECT_EQ(log.count("fetch"), 0u);
}

TEST_F(GetBurstAssetList, ReplacesEarlierCacheEntries) {
  burstOf("b3");
  library.removeAsset("b9");
  PHAsset edited = burstMember("b9", "burst");
  edited.pixelWidth = 99;
  library.addAsset(edited);
  burstOf("b3");
  EXPECT_EQ(plugin.manager().cachedAsset("b9")->pixelWidth, 99);
  EXPECT_EQ(plugin.manager().cachedIdentifiers().size(), 10u);
}

TEST_F(GetBurstAssetList, ReportsAnUnknownAssetByTheIdentifierGiven) {
  EXPECT_EQ(burstOf("ABC").error(), (FlutterError{"Error", "Asset not found id = ABC", Value()}));
  EXPECT_EQ(burstOf("").error().message, "Asset not found id = ");
}

TEST_F(GetBurstAssetList, ReportsAnAssetThatRepresentsNoBurstAsNotFound) {
  EXPECT_EQ(burstOf("p").error(), (FlutterError{"Error", "Asset not found id = p", Value()}));
  EXPECT_EQ(burstOf("b0").error().message, "Asset not found id = b0");
  EXPECT_EQ(burstOf("b6").error().message, "Asset not found id = b6");

  PHAsset strayed = photo("strayed");
  strayed.representsBurst = true;
  library.addAsset(strayed);
  EXPECT_EQ(burstOf("strayed").error().message, "Asset not found id = strayed");
  EXPECT_EQ(log.count("fetchAssetsWithBurstIdentifier"), 0u);
}

TEST_F(GetBurstAssetList, TakesAnEmptyBurstIdentifierForOne) {
  library.addAsset(burstMember("odd", "", true));
  EXPECT_EQ(burstOf("odd").value().as<List>()->size(), 1u);
}

TEST_F(GetBurstAssetList, IsEmptyWhenTheBurstIsGone) {
  burstOf("b3");
  for (int i = 0; i < 10; ++i) library.removeAsset("b" + std::to_string(i));
  EXPECT_EQ(burstOf("b3").value(), Value(List{}));
}

TEST_F(GetBurstAssetList, HoldsTheLockFromTheFetchOnAndReleasesIt) {
  burstOf("b3");  // from now on the representative is cached
  const auto watched = watchLock(plugin);
  burstOf("b3");
  ASSERT_GE(watched->size(), 2u);
  EXPECT_EQ(watched->front().event, "fetchAssetsWithBurstIdentifier");
  for (const WatchedEvent& event : *watched) EXPECT_TRUE(event.lockIsHeld) << event.event;
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(GetBurstAssetList, HoldsTheLockNeverTwice) {
  // A second taking of the lock by its holder would never end.
  EXPECT_EQ(burstOf("b3").value(), Value(shots));
  EXPECT_EQ(burstOf("p").error().code, "Error");
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

using GetBurstAssetListDeathTest = GetBurstAssetList;

TEST_F(GetBurstAssetListDeathTest, StopsAtAShotWithADateBeyondItsRange) {
  PHAsset far = burstMember("far", "burst");
  far.modificationDate = NSDate(1e300);
  library.addAsset(far);
  EXPECT_DEATH(burstOf("b3"), "Fatal error: a date is out of the range of milliseconds in 64 bits");
}

}  // namespace
}  // namespace quorvin
