#include <gtest/gtest.h>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

class AssetLookup : public PluginTest {
 protected:
  AssetLookup() {
    library.addAsset(photo("a"));
    library.addAsset(photo("b"));
    library.addCollection(userAlbum("album"), {"a", "b"});
  }

  /// Caches both assets.
  void listTheAlbum() {
    const Map page = {
        {"collectionId", "album"}, {"start", 0}, {"end", 9}, {"sort", 2}, {"mediaType", 0}};
    EXPECT_EQ(plugin.answer("getAssetList", page).value().as<List>()->size(), 2u);
    log.clear();
  }

  std::size_t fetches() const { return log.count("fetchAssetsWithLocalIdentifiers"); }
};

TEST_F(AssetLookup, FetchesTheOneIdentifierWithoutOptions) {
  log.clear();
  const auto asset = plugin.manager().getPHAsset("a");
  ASSERT_NE(asset, nullptr);
  EXPECT_EQ(asset->localIdentifier, "a");
  EXPECT_EQ(log.events(), Names{"fetchAssetsWithLocalIdentifiers [a] none"});
}

TEST_F(AssetLookup, FindsNothingForAnUnknownIdentifier) {
  EXPECT_EQ(plugin.manager().getPHAsset("c"), nullptr);
  EXPECT_EQ(fetches(), 1u);
}

TEST_F(AssetLookup, FetchesForAnEmptyIdentifierToo) {
  EXPECT_EQ(plugin.manager().getPHAsset(""), nullptr);
  EXPECT_EQ(log.count("fetchAssetsWithLocalIdentifiers [] none"), 1u);
}

TEST_F(AssetLookup, FetchesAgainWhatNobodyStoredAndStoresNothing) {
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  EXPECT_EQ(fetches(), 2u);
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(AssetLookup, AnswersFromTheCacheWithoutAFetch) {
  listTheAlbum();
  EXPECT_EQ(plugin.manager().getPHAsset("a"), plugin.manager().cachedAsset("a"));
  EXPECT_EQ(log.events(), Names{});
}

TEST_F(AssetLookup, FetchesWhatAFilledCacheLacks) {
  listTheAlbum();
  library.addAsset(photo("new"));
  EXPECT_NE(plugin.manager().getPHAsset("new"), nullptr);
  EXPECT_EQ(fetches(), 1u);
}

TEST_F(AssetLookup, FetchesAgainOnceTheCacheWasCleared) {
  listTheAlbum();
  EXPECT_EQ(plugin.answer("clearAllCache").value(), Value(true));
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  EXPECT_EQ(fetches(), 1u);
}

TEST_F(AssetLookup, StillFindsACachedAssetThatTheLibraryHasDeleted) {
  listTheAlbum();
  library.removeAsset("a");
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  EXPECT_EQ(fetches(), 0u);
}

TEST_F(AssetLookup, FindsHiddenAssetsAndUnpickedBurstMembers) {
  PHAsset hidden = photo("hidden");
  hidden.isHidden = true;
  library.addAsset(hidden);
  library.addAsset(burstMember("member", "burst"));
  EXPECT_NE(plugin.manager().getPHAsset("hidden"), nullptr);
  EXPECT_NE(plugin.manager().getPHAsset("member"), nullptr);
}

TEST_F(AssetLookup, HoldsTheLockAcrossItsFetchAndReleasesIt) {
  const auto watched = watchLock(plugin);
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  ASSERT_GE(watched->size(), 2u);
  for (const WatchedEvent& event : *watched) EXPECT_TRUE(event.lockIsHeld) << event.event;
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(AssetLookup, ReleasesTheLockWhenItFindsNothing) {
  EXPECT_EQ(plugin.manager().getPHAsset("c"), nullptr);
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(AssetLookup, ReleasesTheLockAfterAnAnswerFromTheCache) {
  listTheAlbum();
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(AssetLookup, FindsNothingWithoutAuthorisation) {
  library.status = PHAuthorizationStatus::denied;
  EXPECT_EQ(plugin.manager().getPHAsset("a"), nullptr);
}

}  // namespace
}  // namespace quorvin
