#include "core/plugin/method_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

Map pageOf(const std::string& collection) {
  return {{"collectionId", collection}, {"start", 0}, {"end", 10}, {"sort", 2}, {"mediaType", 0}};
}

using MethodDispatch = PluginTest;

TEST_F(MethodDispatch, SubmitsNoBackgroundWorkForAnInlineMethod) {
  for (const std::string name : kInlineMethods) {
    SCOPED_TRACE(name);
    RecordedReply reply = plugin.call(name);
    EXPECT_EQ(log.count("background.async"), 0u);
    plugin.runToEnd();
    EXPECT_EQ(reply.answerCount(), 1u);
  }
}

TEST_F(MethodDispatch, SubmitsOneBackgroundItemForAQueuedMethodAndDoesNothingElse) {
  for (const std::string name : kQueuedMethods) {
    SCOPED_TRACE(name);
    log.clear();
    RecordedReply reply = plugin.call(name);
    EXPECT_EQ(log.events(), Names{"background.async"});
    plugin.runToEnd();
    EXPECT_EQ(reply.answerCount(), 1u);
  }
}

TEST_F(MethodDispatch, KnowsTwentyTwoMethods) {
  EXPECT_EQ(kInlineMethods.size() + kQueuedMethods.size(), 22u);
}

TEST_F(MethodDispatch, RunsAQueuedHandlerOnTheThreadOfItsItem) {
  const auto watched = watchLock(plugin);
  const RecordedReply reply = plugin.answer("getAssetInfo", Map{{"assetId", "a"}});
  ASSERT_EQ(watched->size(), 1u);
  EXPECT_NE(watched->front().thread, std::this_thread::get_id());
}

TEST_F(MethodDispatch, AnswersEveryHandlersCallFromTheMainQueueOnly) {
  Names names(kQueuedMethods.begin(), kQueuedMethods.end());
  names.insert(names.end(), kInlineMethods.begin() + 1, kInlineMethods.end());
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    RecordedReply reply = plugin.call(name);
    while (plugin.platform.dispatch.background.runNextOnNewThread()) {
    }
    EXPECT_EQ(reply.answerCount(), 0u);
    plugin.runToEnd();
    EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
    EXPECT_EQ(reply.answer().thread, std::this_thread::get_id());
  }
}

TEST_F(MethodDispatch, AnswersThePlatformVersionBeforeItReturns) {
  plugin.platform.device.version = "16.4.1";
  const RecordedReply reply = plugin.call("getPlatformVersion");
  EXPECT_EQ(reply.value(), Value("iOS 16.4.1"));
  EXPECT_EQ(reply.answer().position.queue, nullptr);
  EXPECT_EQ(log.count("main.async"), 0u);
}

TEST_F(MethodDispatch, AnswersThePlatformVersionWhateverTheArguments) {
  for (const Value& arguments : {Value(), Value(1), Value("x"), Value(List{}), Value(Map{})}) {
    EXPECT_EQ(plugin.call("getPlatformVersion", arguments).value(), Value("iOS 17.2"));
  }
}

TEST_F(MethodDispatch, ReadsThePlatformVersionAtEachCall) {
  EXPECT_EQ(plugin.call("getPlatformVersion").value(), Value("iOS 17.2"));
  plugin.platform.device.version = "18";
  EXPECT_EQ(plugin.call("getPlatformVersion").value(), Value("iOS 18"));
}

TEST_F(MethodDispatch, SaysNotImplementedAtOnceToAnUnknownName) {
  log.clear();
  const RecordedReply reply = plugin.call("getEverything");
  EXPECT_TRUE(reply.isNotImplemented());
  EXPECT_EQ(reply.answer().position.queue, nullptr);
  EXPECT_EQ(log.events(), Names{"reply getEverything"});
}

TEST_F(MethodDispatch, MatchesNamesExactly) {
  for (const std::string& name :
       {std::string("GetPermission"), std::string("getpermission"), std::string("GETPERMISSION"),
        std::string("getPermissio"), std::string("getPermissionX"), std::string(" getPermission"),
        std::string("getPermission "), std::string("getPermission\0", 14), std::string()}) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(plugin.call(name).isNotImplemented());
  }
  for (std::string name : kQueuedMethods) {
    name[0] = 'G';
    EXPECT_TRUE(plugin.call(name).isNotImplemented());
  }
}

TEST_F(MethodDispatch, AnswersTwoPagesInTheOrderInWhichTheirItemsFinish) {
  library.addAsset(photo("a"));
  library.addAsset(photo("b"));
  library.addCollection(userAlbum("first"), {"a"});
  library.addCollection(userAlbum("second"), {"b"});
  const RecordedReply first = plugin.call("getAssetList", pageOf("first"));
  const RecordedReply second = plugin.call("getAssetList", pageOf("second"));

  EXPECT_TRUE(plugin.platform.dispatch.background.runNextOnNewThread(1));
  plugin.platform.dispatch.main.runNext();
  EXPECT_EQ(second.answerCount(), 1u);
  EXPECT_EQ(first.answerCount(), 0u);
  plugin.runToEnd();
  EXPECT_EQ(first.answerCount(), 1u);
}

TEST_F(MethodDispatch, LetsTwoQueuedHandlersRunAtTheSameTime) {
  library.addCollection(userAlbum("album"), {});
  const RecordedReply outer = plugin.call("getAssetList", pageOf("album"));
  const RecordedReply inner = plugin.call("getAssetList", pageOf("album"));
  // The second runs from start to end inside the first one's fetch.
  library.duringFetch = [this] { plugin.platform.dispatch.background.runNextOnNewThread(); };
  plugin.platform.dispatch.background.runNextOnNewThread();
  library.duringFetch = nullptr;
  ASSERT_TRUE(plugin.platform.dispatch.main.runNext());
  EXPECT_EQ(inner.answerCount(), 1u);
  EXPECT_EQ(outer.answerCount(), 0u);
  plugin.runToEnd();
}

TEST_F(MethodDispatch, KeepsThePluginAliveForWorkThatWaitsAndNoLonger) {
  const std::weak_ptr<FlutterMethodCallDelegate> alive =
      plugin.registrar.registrations.at(0).delegate;
  const RecordedReply reply = plugin.call("getAssetInfo", Map{{"assetId", "a"}});
  plugin.registrar.registrations.clear();
  EXPECT_FALSE(alive.expired());
  plugin.runToEnd();
  EXPECT_EQ(reply.error().message, "Asset not found id = a");
  EXPECT_TRUE(alive.expired());
}

TEST_F(MethodDispatch, SaysNothingWithoutAManagerExceptThePlatformVersion) {
  SwiftQuorvinPluginPeer::manager(plugin.plugin()) = nullptr;
  log.clear();
  EXPECT_EQ(plugin.call("getPlatformVersion").value(), Value("iOS 17.2"));
  for (const std::string name : kInlineMethods) {
    if (name == "getPlatformVersion") continue;
    SCOPED_TRACE(name);
    RecordedReply reply = plugin.answer(name);
    reply.expectSilence();
  }
  EXPECT_EQ(log.count("background.async"), 0u);
  for (const std::string name : kQueuedMethods) {
    SCOPED_TRACE(name);
    RecordedReply reply = plugin.answer(name);
    reply.expectSilence();
  }
  EXPECT_EQ(log.count("background.async"), kQueuedMethods.size());
  EXPECT_EQ(log.count("main.async"), 0u);
  EXPECT_TRUE(plugin.call("nothing").isNotImplemented());
}

TEST_F(MethodDispatch, LooksForTheManagerWhenTheQueuedItemRuns) {
  RecordedReply reply = plugin.call("getGalleryList");
  reply.expectSilence();
  SwiftQuorvinPluginPeer::manager(plugin.plugin()) = nullptr;
  plugin.runToEnd();
}

}  // namespace
}  // namespace quorvin
