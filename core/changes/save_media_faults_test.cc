#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <variant>

#include "testing/plugin/save_media_fixture.h"

namespace quorvin {
namespace {

using SaveMediaFaults = SaveMediaTest;
INSTANTIATE_TEST_SUITE_P(EachMethod, SaveMediaFaults, testing::Values(kSaveImage, kSaveVideo),
                         nameOf);

using SaveMediaDeathTest = SaveMediaTest;
INSTANTIATE_TEST_SUITE_P(EachMethod, SaveMediaDeathTest, testing::Values(kSaveImage, kSaveVideo),
                         nameOf);

// Albums

TEST_P(SaveMediaFaults, ReportsAnUnknownAlbumAndChangesNothing) {
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

TEST_P(SaveMediaFaults, AddsToNoAlbumOfAnotherKind) {
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

TEST_P(SaveMediaFaults, SavesWithoutAnAlbumThatTakesNoChange) {
  library.albumsTakeChanges = false;
  EXPECT_EQ(save(fileInto("album")).value(), recordOf("created-1"));
  EXPECT_EQ(log.count("addAssets"), 1u);
  EXPECT_EQ(library.membersOf("album"), Names{"old"});
}

TEST_P(SaveMediaFaults, FailsWhenTheAlbumGoesBeforeTheChange) {
  const RecordedReply reply = start(fileInto("album"));
  runBackground();
  library.removeCollection("album");
  plugin.runToEnd();
  EXPECT_EQ(reply.error(), saveError("The album has gone."));
  EXPECT_EQ(library.assetIdentifiers(), Names{"old"});
}

// Failures

TEST_P(SaveMediaFaults, ReportsAFailedChangeByItsDescription) {
  library.nextChangeFails = failure;
  const RecordedReply reply = save(fileInto("album"));
  EXPECT_EQ(reply.error(), saveError(failureText));
  expectFromMainQueue(reply);
  EXPECT_EQ(log.count("fetchAssetsWith"), 0u);
  EXPECT_EQ(library.assetIdentifiers(), Names{"old"});
}

TEST_P(SaveMediaFaults, ReportsAFailedChangeStraightFromTheCompletion) {
  const RecordedReply reply = start();
  runBackground();
  library.nextChangeFails = failure;
  stepChange();
  stepChange();
  EXPECT_EQ(plugin.platform.dispatch.main.waiting(), 1u);
  stepMain();
  EXPECT_EQ(reply.error(), saveError(failureText));
}

TEST_P(SaveMediaFaults, ReportsAFailureWithoutAnErrorWithoutDetails) {
  endChangesWith(false, std::nullopt);
  EXPECT_EQ(save().error(), saveError(Value()));
}

TEST_P(SaveMediaFaults, ReportsAnAssetThatIsNotFoundAfterwards) {
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

TEST_P(SaveMediaFaults, StillRepliesAnAssetThatGoesAfterItWasFetched) {
  const RecordedReply reply = start();
  runBackground();
  stepChange();
  stepChange();
  library.removeAsset("created-1");
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), recordOf("created-1"));
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"created-1"});
}

TEST_P(SaveMediaFaults, FailsWithoutAuthorisation) {
  library.status = PHAuthorizationStatus::denied;
  EXPECT_EQ(save(fileInto("album")).error(), saveError("Collection not found"));
  EXPECT_EQ(save().error().message, method().message);
  EXPECT_EQ(log.count("creation"), 0u);
  EXPECT_EQ(log.count("authorizationStatus"), 0u);
}

// A request that cannot be made

TEST_P(SaveMediaFaults, AnswersAMissingRequestAndThenTheFailureThatFollows) {
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

TEST_P(SaveMediaFaults, AnswersAMissingRequestFromInsideTheChange) {
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
  EXPECT_DEATH(stepChange(),
               "Fatal error: a change succeeded without the asset that it was to create");
}

}  // namespace
}  // namespace quorvin
