#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>

#include "testing/fakes/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

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

TEST_F(CachingControls, ClearWaitsWhileALookupHoldsTheLock) {
  std::atomic<bool> clearing = false;
  std::atomic<bool> lookupIsOver = false;
  bool clearedDuringLookup = false;
  std::thread clearingThread;
  library.duringFetch = [&] {
    library.duringFetch = nullptr;
    clearingThread = std::thread([&] {
      clearing = true;
      const RecordedReply reply = plugin.call("clearAllCache");
      clearedDuringLookup = !lookupIsOver;
      while (!plugin.platform.dispatch.main.runNext()) std::this_thread::yield();
      EXPECT_EQ(reply.value(), Value(true));
    });
    // The other thread gets every chance to run through.
    while (!clearing) std::this_thread::yield();
    for (int turn = 0; turn < 1000; ++turn) std::this_thread::yield();
    lookupIsOver = true;
  };
  EXPECT_NE(plugin.manager().getPHAsset("a"), nullptr);
  clearingThread.join();
  EXPECT_FALSE(clearedDuringLookup);
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
