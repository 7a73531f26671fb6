#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "testing/plugin/save_media_fixture.h"

namespace quorvin {
namespace {

using SaveMedia = SaveMediaTest;
INSTANTIATE_TEST_SUITE_P(EachMethod, SaveMedia, testing::Values(kSaveImage, kSaveVideo), nameOf);

// Arguments

TEST_P(SaveMedia, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, method().name, file(), {{"filePath", Takes::text}},
                       "Error arguments");
}

TEST_P(SaveMedia, RefusesFaultyArgumentsBeforeItLooksForTheAlbum) {
  for (const char* album : {"album", "unknown"}) {
    expectRefused(plugin, method().name, Map{{"collectionId", album}}, "Error arguments");
    expectRefused(plugin, method().name, Map{{"collectionId", album}, {"filePath", 1}},
                  "Error arguments");
  }
}

TEST_P(SaveMedia, HandsThePathOnAsItIs) {
  for (const std::string& path :
       {std::string(), std::string("/in/a b%20c#d?.jpg"), std::string("file:///in/a.jpg"),
        std::string("relative.jpg"), std::string("/in/../\xC3\xA9.JPG"), std::string("/in/\xFF")}) {
    log.clear();
    save(file(path));
    EXPECT_EQ(log.eventsOf("creation"), Names{method().request + " " + path});
  }
}

TEST_P(SaveMedia, SavesWithoutAnAlbumWhenTheIdentifierIsNoText) {
  int id = 0;
  for (const Value& odd : {Value(7), Value(), Value(true), Value(1.0), Value(List{Value("album")}),
                           Value(Map{{"id", "album"}}), Value(ByteBuffer({97}))}) {
    log.clear();
    EXPECT_EQ(save(fileInto(odd)).value(), recordOf("created-" + std::to_string(++id)));
    EXPECT_EQ(log.count("fetchAssetCollections"), 0u);
    EXPECT_EQ(log.count("addAssets"), 0u);
  }
  EXPECT_EQ(library.membersOf("album"), Names{"old"});
}

// Success

TEST_P(SaveMedia, RepliesTheRecordOfTheNewAsset) {
  const RecordedReply reply = save();
  EXPECT_EQ(reply.value(), recordOf("created-1"));
  expectFromMainQueue(reply);
  EXPECT_EQ(library.assetIdentifiers(), (Names{"old", "created-1"}));
}

TEST_P(SaveMedia, RepliesWhatTheLibraryMadeOfTheFile) {
  const RecordedReply reply = start();
  runBackground();
  stepChange();
  library.removeAsset("created-1");
  library.addAsset(audio("created-1", 5));
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), Value(assetToMap(audio("created-1", 5))));
}

TEST_P(SaveMedia, WaitsOnTheBackgroundQueueFirst) {
  const RecordedReply reply = start(fileInto("album"));
  EXPECT_EQ(log.events(), Names{"background.async"});
  log.clear();
  runBackground();
  EXPECT_EQ(log.events(), (Names{"fetchAssetCollectionsWithLocalIdentifiers [album] none",
                                 "performChanges", "changes.async"}));
  plugin.runToEnd();
}

TEST_P(SaveMedia, ChangesTheLibraryWithoutAFetchWhenNoAlbumIsNamed) {
  const RecordedReply reply = start();
  log.clear();
  runBackground();
  EXPECT_EQ(log.events(), (Names{"performChanges", "changes.async"}));
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(), (Names{method().request + " /in/file", "changes.async"}));
  plugin.runToEnd();
}

TEST_P(SaveMedia, CreatesTheAssetAndThenAddsItToTheAlbum) {
  const RecordedReply reply = start(fileInto("album"));
  runBackground();
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(), (Names{method().request + " /in/file", "addAssets [created-1] to album",
                                 "changes.async"}));
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), recordOf("created-1"));
  EXPECT_EQ(library.membersOf("album"), (Names{"old", "created-1"}));
}

TEST_P(SaveMedia, FetchesTheNewAssetInTheCompletion) {
  const RecordedReply reply = start();
  runBackground();
  stepChange();
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(),
            (Names{"fetchAssetsWithLocalIdentifiers [created-1] none", "main.async"}));
  plugin.runToEnd();
}

TEST_P(SaveMedia, FetchesOnTheQueueOfEachStepWithoutTheLock) {
  const auto queues = watchFetches();
  save(fileInto("album"));
  EXPECT_EQ(*queues, (std::vector<const ManualQueue*>{&plugin.platform.dispatch.background,
                                                      &library.changes}));
}

TEST_P(SaveMedia, SavesAFileTwiceAsTwoAssets) {
  EXPECT_EQ(save(fileInto("album")).value(), recordOf("created-1"));
  EXPECT_EQ(save(fileInto("album")).value(), recordOf("created-2"));
  EXPECT_EQ(library.membersOf("album"), (Names{"old", "created-1", "created-2"}));
}

TEST_P(SaveMedia, KeepsCallsApart) {
  const RecordedReply first = start(fileInto("album"));
  const RecordedReply second = start(fileInto("unknown"));
  const RecordedReply third = start();
  plugin.runToEnd();
  EXPECT_EQ(first.value(), recordOf("created-1"));
  EXPECT_EQ(second.error(), saveError("Collection not found"));
  EXPECT_EQ(third.value(), recordOf("created-2"));
  EXPECT_EQ(library.membersOf("album"), (Names{"old", "created-1"}));
}

TEST_P(SaveMedia, GoesByTheSuccessAndNotByTheError) {
  endChangesWith(true, failure);
  EXPECT_EQ(save().value(), recordOf("created-1"));
}

TEST_P(SaveMedia, AnswersWhenTheHostHasLetGoOfThePlugin) {
  const RecordedReply reply = start();
  runBackground();
  letGoOfThePlugin();
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), recordOf("created-1"));
}

TEST_P(SaveMedia, NeedsNoImageManager) {
  PluginHarness bare(failTheTest(), PluginHarness::Has::noImageManager);
  EXPECT_NE(bare.answer(method().name, file()).value().as<Map>(), nullptr);
}

// The cache

TEST_P(SaveMedia, CachesTheNewAssetAlone) {
  save(fileInto("album"));
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"created-1"});
  log.clear();
  EXPECT_EQ(plugin.answer("getAssetInfo", Map{{"assetId", "created-1"}}).value(),
            recordOf("created-1"));
  EXPECT_EQ(log.count("fetch"), 0u);
}

TEST_P(SaveMedia, HasCachedTheAssetBeforeTheReply) {
  const RecordedReply reply = saveUpToTheReply();
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"created-1"});
  EXPECT_FALSE(plugin.manager().lockIsHeld());
  EXPECT_EQ(reply.answerCount(), 0u);
  stepMain();
  EXPECT_EQ(reply.value(), recordOf("created-1"));
}

TEST_P(SaveMedia, HasCachedTheAssetAndLetGoOfTheLockWhenItSendsTheReply) {
  std::vector<Names> cached;
  plugin.platform.dispatch.main.afterAsync = [&cached, manager = plugin.manager()] {
    ASSERT_FALSE(manager.lockIsHeld());
    cached.push_back(manager.cachedIdentifiers());
  };
  const RecordedReply reply = saveUpToTheReply();
  ASSERT_FALSE(cached.empty());
  EXPECT_EQ(cached.back(), Names{"created-1"});
  stepMain();
}

TEST_P(SaveMedia, CachesByThePlaceholdersIdentifierWhatTheFetchFound) {
  save();
  const auto cached = plugin.manager().cachedAsset("created-1");
  ASSERT_NE(cached, nullptr);
  const std::array<std::string, 1> identifier = {"created-1"};
  EXPECT_EQ(cached, library.fetchAssetsWithLocalIdentifiers(identifier, nullptr)->firstObject());
}

TEST_P(SaveMedia, HoldsTheLockWhenItCaches) {
  const auto held = watchReplacement(plugin, "created-1");
  save();
  EXPECT_EQ(*held, std::vector<bool>{true});
}

TEST_P(SaveMedia, ReplacesAnEarlierCacheEntry) {
  const RecordedReply reply = start();
  runBackground();
  stepChange();
  // Somebody lists the new asset before the save comes to its end; then it is edited.
  library.addCollection(userAlbum("new"), {"created-1"});
  const RecordedReply listed = plugin.call(
      "getAssetList",
      Map{{"collectionId", "new"}, {"start", 0}, {"end", 9}, {"sort", 2}, {"mediaType", 0}});
  runBackground();
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"created-1"});
  PHAsset edited = library.createdAsset;
  edited.localIdentifier = "created-1";
  edited.pixelWidth = 99;
  library.removeAsset("created-1");
  library.addAsset(edited);
  plugin.runToEnd();
  EXPECT_EQ(plugin.manager().cachedAsset("created-1")->pixelWidth, 99);
}

TEST(SaveImage, CachesOnTheMainQueue) {
  PluginHarness plugin(failTheTest());
  const RecordedReply reply = plugin.call("saveImage", file());
  plugin.platform.dispatch.runToEnd();
  while (plugin.library.changes.runNextOnNewThread()) {
  }
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
  EXPECT_EQ(plugin.platform.dispatch.main.waiting(), 1u);
  plugin.log.clear();
  EXPECT_TRUE(plugin.platform.dispatch.main.runNext());
  EXPECT_EQ(plugin.log.events(), std::vector<std::string>{"main.async"});
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), std::vector<std::string>{"created-1"});
  EXPECT_EQ(reply.answerCount(), 0u);
  EXPECT_TRUE(plugin.platform.dispatch.main.runNext());
  EXPECT_EQ(reply.answerCount(), 1u);
}

TEST(SaveVideo, CachesInTheCompletion) {
  PluginHarness plugin(failTheTest());
  const RecordedReply reply = plugin.call("saveVideo", file());
  plugin.platform.dispatch.runToEnd();
  while (plugin.library.changes.runNextOnNewThread()) {
  }
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), std::vector<std::string>{"created-1"});
  EXPECT_EQ(plugin.platform.dispatch.main.waiting(), 1u);
  EXPECT_EQ(reply.answerCount(), 0u);
  EXPECT_TRUE(plugin.platform.dispatch.main.runNext());
  EXPECT_EQ(reply.answerCount(), 1u);
}

TEST_P(SaveMedia, CachesNothingWhenItFails) {
  library.nextChangeFails = failure;
  save();
  save(fileInto("unknown"));
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

}  // namespace
}  // namespace quorvin
