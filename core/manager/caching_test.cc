#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

/// A call of clearAllCache on a thread of its own, while another thread holds the manager's lock.
class ClearingMeanwhile {
 public:
  explicit ClearingMeanwhile(PluginHarness& plugin) : plugin_(plugin) {}

  /// Returns when the call waits for the lock, or, without a reason to, when it is over.
  void start() {
    thread_ = std::thread([this] {
      reply_.emplace(plugin_.call("clearAllCache"));
      isOver_ = true;
    });
    while (!plugin_.manager().lockIsAwaited() && !isOver_) std::this_thread::yield();
    EXPECT_FALSE(isOver_) << "it did not wait";
  }

  /// Waits for the call's end.
  void end() {
    ASSERT_TRUE(thread_.joinable());
    thread_.join();
    plugin_.runToEnd();
    EXPECT_EQ(reply_->value(), Value(true));
  }

 private:
  PluginHarness& plugin_;
  std::optional<RecordedReply> reply_;
  std::atomic<bool> isOver_ = false;
  std::thread thread_;
};

class CachingControls : public PluginTest {
 protected:
  CachingControls() {
    library.addAsset(photo("a"));
    library.addCollection(userAlbum("album"), {"a"});
  }

  void listTheAlbum() {
    const Map page = {
        {"collectionId", "album"}, {"start", 0}, {"end", 9}, {"sort", 2}, {"mediaType", 0}};
    EXPECT_EQ(plugin.answer("getAssetList", page).value().as<List>()->size(), 1u);
    EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"a"});
    log.clear();
  }
};

TEST_F(CachingControls, ClearEmptiesTheCacheBeforeItsReplyIsPosted) {
  listTheAlbum();
  const RecordedReply reply = plugin.call("clearAllCache");
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
  EXPECT_EQ(reply.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), Value(true));
}

TEST_F(CachingControls, ClearRepliesTrueOnAnEmptyCacheToo) {
  EXPECT_EQ(plugin.answer("clearAllCache").value(), Value(true));
}

TEST_F(CachingControls, ClearReleasesTheLock) {
  EXPECT_EQ(plugin.answer("clearAllCache").value(), Value(true));
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(CachingControls, ClearAsksNothingOfTheLibrary) {
  log.clear();
  EXPECT_EQ(plugin.answer("clearAllCache", Map{{"assetId", "a"}}).value(), Value(true));
  EXPECT_EQ(log.events(), (Names{"main.async", "reply clearAllCache"}));
}

TEST_F(CachingControls, ClearWaitsForALookup) {
  ClearingMeanwhile clearing(plugin);
  library.duringFetch = [&] { clearing.start(); };
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  clearing.end();
}

TEST_F(CachingControls, ClearWaitsForABurstListingAndThenEmptiesWhatThatCached) {
  library.addAsset(burstMember("b1", "burst", true));
  library.addAsset(burstMember("b2", "burst"));
  ClearingMeanwhile clearing(plugin);
  library.duringFetch = [&] {
    if (log.events().back().starts_with("fetchAssetsWithBurstIdentifier")) clearing.start();
  };
  const RecordedReply listed = plugin.call("getBurstAssetList", Map{{"assetId", "b1"}});
  EXPECT_TRUE(plugin.platform.dispatch.background.runNextOnNewThread());
  clearing.end();
  plugin.runToEnd();
  EXPECT_EQ(listed.value().as<List>()->size(), 2u);
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(CachingControls, TheNextLookupAfterOneThatFoundNothingIsAnswered) {
  EXPECT_EQ(plugin.answer("getAssetInfo", Map{{"assetId", "b"}}).error().message,
            "Asset not found id = b");
  EXPECT_NE(plugin.answer("getAssetInfo", Map{{"assetId", "a"}}).value().as<Map>(), nullptr);
}

TEST_F(CachingControls, TheOthersReplyTrueWhateverTheArguments) {
  const std::vector<Value> arguments = {
      Value(), Value(true), Value("x"), Value(List{Value("unknown")}),
      Value(Map{{"assetIds", List{Value("unknown")}}, {Value(5), Value()}})};
  for (const char* method : {"startCachingImages", "stopCachingImages", "stopAllCachingImages"}) {
    for (const Value& value : arguments) {
      SCOPED_TRACE(method);
      log.clear();
      EXPECT_EQ(plugin.answer(method, value).value(), Value(true));
      EXPECT_EQ(log.events(), (Names{"main.async", std::string("reply ") + method}));
    }
  }
}

TEST_F(CachingControls, TheOthersLeaveTheCacheAlone) {
  listTheAlbum();
  for (const char* method : {"startCachingImages", "stopCachingImages", "stopAllCachingImages"}) {
    EXPECT_EQ(plugin.answer(method).value(), Value(true));
  }
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"a"});
}

}  // namespace
}  // namespace quorvin
