#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "core/queries/asset_record.h"
#include "testing/fakes/changes_fixture.h"

namespace quorvin {
namespace {

/// One of the two methods, and what differs between them.
struct Method {
  std::string name;
  std::string message;
  std::string request;
  PHAssetMediaType type;
  bool isVideo;
};

const Method kSaveImage = {"saveImage", "Save image error",
                           "creationRequestForAssetFromImageAtFileURL", PHAssetMediaType::image,
                           false};
const Method kSaveVideo = {"saveVideo", "Save video error",
                           "creationRequestForAssetFromVideoAtFileURL", PHAssetMediaType::video,
                           true};

Map file(const std::string& path = "/in/file") {
  return {{"filePath", path}};
}

Map fileInto(Value collection) {
  return {{"filePath", "/in/file"}, {"collectionId", std::move(collection)}};
}

/// Everything twice: with saveImage and with saveVideo.
class SaveMedia : public ChangeTest, public testing::WithParamInterface<Method> {
 protected:
  SaveMedia() {
    library.addAsset(photo("old"));
    library.addCollection(userAlbum("album"), {"old"});
    library.createdAsset.pixelWidth = 4000;
    library.createdAsset.pixelHeight = 3000;
    library.createdAsset.creationDate = NSDate(1000.5);
    library.createdAsset.modificationDate = NSDate(2000.25);
    library.createdAsset.duration = 1.5;
    log.clear();
  }

  const Method& method() const { return GetParam(); }
  RecordedReply start(const Map& call = file()) { return plugin.call(method().name, call); }
  RecordedReply save(const Map& call = file()) { return plugin.answer(method().name, call); }
  /// The call with its completion run, and, for an image, the item that it left to the main queue.
  RecordedReply saveUpToTheReply(const Map& call = file()) {
    RecordedReply reply = start(call);
    runBackground();
    stepChange();
    stepChange();
    if (!method().isVideo) stepMain();
    return reply;
  }

  FlutterError saveError(Value details) const {
    return {"Error", method().message, std::move(details)};
  }
  Value recordOf(const std::string& id) const {
    PHAsset asset = library.createdAsset;
    asset.localIdentifier = id;
    asset.mediaType = method().type;
    return assetToMap(asset);
  }
  Names allButTheQueues() const {
    Names events = log.events();
    std::erase_if(events, [](const std::string& event) { return event.ends_with(".async"); });
    return events;
  }
};

INSTANTIATE_TEST_SUITE_P(EachMethod, SaveMedia, testing::Values(kSaveImage, kSaveVideo),
                         [](const auto& test) { return test.param.name; });

using SaveMediaDeathTest = SaveMedia;
INSTANTIATE_TEST_SUITE_P(EachMethod, SaveMediaDeathTest, testing::Values(kSaveImage, kSaveVideo),
                         [](const auto& test) { return test.param.name; });

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

// Albums

TEST_P(SaveMedia, ReportsAnUnknownAlbumAndChangesNothing) {
  for (const std::string id : {"unknown", "", "ALBUM", "old"}) {
    log.clear();
    const RecordedReply reply = save(fileInto(id));
    EXPECT_EQ(reply.error(), saveError("Collection not found"));
    expectFromMainQueue(reply);
    EXPECT_EQ(log.events(), (Names{"background.async",
                                   "fetchAssetCollectionsWithLocalIdentifiers [" + id + "] none",
                                   "main.async", "reply " + method().name}));
  }
  EXPECT_EQ(library.assetIdentifiers(), Names{"old"});
}

TEST_P(SaveMedia, AddsToNoAlbumOfAnotherKind) {
  int id = 0;
  const auto saveInto = [&](const PHAssetCollection& album) {
    library.addCollection(album, {});
    log.clear();
    EXPECT_EQ(save(fileInto(album.localIdentifier)).value(),
              recordOf("created-" + std::to_string(++id)));
    EXPECT_EQ(log.count("addAssets"), 0u) << album.localIdentifier;
  };
  for (const std::int64_t subtype : {0, 1, 3, 4, 5, 6, 100, 101, 209}) {
    saveInto(userAlbum("album-" + std::to_string(subtype), {}, subtype));
  }
  for (const std::int64_t subtype : {200, 202, 206, 209, 211}) {
    saveInto(smartAlbum("smart-" + std::to_string(subtype), subtype));
  }
}

TEST_P(SaveMedia, SavesWithoutAnAlbumThatTakesNoChange) {
  library.albumsTakeChanges = false;
  EXPECT_EQ(save(fileInto("album")).value(), recordOf("created-1"));
  EXPECT_EQ(log.count("addAssets"), 1u);
  EXPECT_EQ(library.membersOf("album"), Names{"old"});
}

TEST_P(SaveMedia, FailsWhenTheAlbumGoesBeforeTheChange) {
  const RecordedReply reply = start(fileInto("album"));
  runBackground();
  library.removeCollection("album");
  plugin.runToEnd();
  EXPECT_EQ(reply.error(), saveError("The album has gone."));
  EXPECT_EQ(library.assetIdentifiers(), Names{"old"});
}

// Failures

TEST_P(SaveMedia, ReportsAFailedChangeByItsDescription) {
  library.nextChangeFails = failure;
  const RecordedReply reply = save(fileInto("album"));
  EXPECT_EQ(reply.error(), saveError(failureText));
  expectFromMainQueue(reply);
  EXPECT_EQ(log.count("fetchAssetsWith"), 0u);
  EXPECT_EQ(library.assetIdentifiers(), Names{"old"});
}

TEST_P(SaveMedia, ReportsAFailedChangeStraightFromTheCompletion) {
  const RecordedReply reply = start();
  runBackground();
  library.nextChangeFails = failure;
  stepChange();
  stepChange();
  EXPECT_EQ(plugin.platform.dispatch.main.waiting(), 1u);
  stepMain();
  EXPECT_EQ(reply.error(), saveError(failureText));
}

TEST_P(SaveMedia, ReportsAFailureWithoutAnErrorWithoutDetails) {
  endChangesWith(false, std::nullopt);
  EXPECT_EQ(save().error(), saveError(Value()));
}

TEST_P(SaveMedia, ReportsAnAssetThatIsNotFoundAfterwards) {
  const RecordedReply reply = start();
  runBackground();
  stepChange();
  library.removeAsset("created-1");
  stepChange();
  EXPECT_EQ(plugin.platform.dispatch.main.waiting(), 1u);
  stepMain();
  EXPECT_EQ(reply.error(), saveError("Asset not found"));
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_P(SaveMedia, StillRepliesAnAssetThatGoesAfterItWasFetched) {
  const RecordedReply reply = start();
  runBackground();
  stepChange();
  stepChange();
  library.removeAsset("created-1");
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), recordOf("created-1"));
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"created-1"});
}

TEST_P(SaveMedia, FailsWithoutAuthorisation) {
  library.status = PHAuthorizationStatus::denied;
  EXPECT_EQ(save(fileInto("album")).error(), saveError("Collection not found"));
  EXPECT_EQ(save().error().message, method().message);
  EXPECT_EQ(log.count("creation"), 0u);
  EXPECT_EQ(log.count("authorizationStatus"), 0u);
}

// A request that cannot be made

TEST_P(SaveMedia, AnswersAMissingRequestAndThenTheFailureThatFollows) {
  library.creationRequestsFail = true;
  library.nextChangeFails = failure;
  RecordedReply reply = start(fileInto("album"));
  reply.expectAnswers(2);
  runBackground();
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(), (Names{method().request + " /in/file", "main.async", "changes.async"}));
  plugin.runToEnd();
  expectFromMainQueue(reply, 0);
  expectFromMainQueue(reply, 1);
  EXPECT_EQ(std::get<FlutterError>(reply.answer(0).reply),
            saveError("Collection request change error"));
  EXPECT_EQ(std::get<FlutterError>(reply.answer(1).reply), saveError(failureText));
  EXPECT_EQ(log.count("addAssets"), 0u);
  EXPECT_EQ(log.count("fetch"), 0u);
}

TEST_P(SaveMedia, AnswersAMissingRequestFromInsideTheChange) {
  library.creationRequestsFail = true;
  endChangesWith(false, std::nullopt);
  RecordedReply reply = start();
  reply.expectAnswers(2);
  runBackground();
  stepChange();
  stepMain();
  EXPECT_EQ(reply.error(), saveError("Collection request change error"));
  plugin.runToEnd();
  EXPECT_EQ(std::get<FlutterError>(reply.answer(1).reply), saveError(Value()));
}

TEST_P(SaveMediaDeathTest, StopsAtASuccessWithoutAPlaceholder) {
  library.creationRequestsFail = true;
  RecordedReply reply = start();
  reply.expectAnswers(1);
  runBackground();
  stepChange();
  stepMain();
  EXPECT_DEATH(stepChange(), "Fatal error: ");
}

}  // namespace
}  // namespace quorvin
