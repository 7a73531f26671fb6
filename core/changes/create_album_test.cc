#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "testing/plugin/changes_fixture.h"

namespace quorvin {
namespace {

Value newAlbum(const std::string& id, const std::string& title) {
  return Map{{"type", "user"},
             {"id", id},
             {"title", title},
             {"assetCount",
              Map{{"photoCount", 0}, {"videoCount", 0}, {"audioCount", 0}, {"totalCount", 0}}}};
}

FlutterError albumError(Value details) {
  return {"Error", "Create album error", std::move(details)};
}

class CreateAlbum : public ChangeTest {
 protected:
  CreateAlbum() { log.clear(); }

  RecordedReply start(const std::string& title = "Holidays") {
    return plugin.call("createAlbum", Map{{"title", title}});
  }
  RecordedReply create(const std::string& title = "Holidays") {
    return plugin.answer("createAlbum", Map{{"title", title}});
  }
};

TEST_F(CreateAlbum, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, "createAlbum", Map{{"title", "Holidays"}}, {{"title", Takes::text}},
                       "Error arguments");
}

TEST_F(CreateAlbum, RepliesTheRecordOfAnEmptyUserAlbum) {
  const RecordedReply reply = create();
  EXPECT_EQ(reply.value(), newAlbum("created-1", "Holidays"));
  expectFromMainQueue(reply);
  const auto albums = library.fetchAssetCollectionsWithType(
      PHAssetCollectionType::album, PHAssetCollectionSubtype::albumRegular, nullptr);
  ASSERT_EQ(albums->count(), 1u);
  EXPECT_EQ(albums->firstObject()->localIdentifier, "created-1");
}

TEST_F(CreateAlbum, TakesEveryStepInItsOrder) {
  const RecordedReply reply = start();
  EXPECT_EQ(log.events(), (Names{"performChanges", "changes.async"}));
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(),
            (Names{"creationRequestForAssetCollectionWithTitle Holidays", "changes.async"}));
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(),
            (Names{"fetchAssetCollectionsWithLocalIdentifiers [created-1] none", "main.async"}));
  EXPECT_EQ(reply.answerCount(), 0u);
  stepMain();
  EXPECT_EQ(reply.answerCount(), 1u);
}

TEST_F(CreateAlbum, FetchesInTheCompletionWithoutTheLock) {
  const auto queues = watchFetches();
  create();
  EXPECT_EQ(*queues, std::vector<const ManualQueue*>{&library.changes});
}

TEST_F(CreateAlbum, HandsTheTitleOnAsItIs) {
  int id = 0;
  for (const std::string& title :
       {std::string(), std::string(" "), std::string("a/b"), std::string("Ferien \xC3\xA9"),
        std::string("a\0b", 3), std::string(5000, 'x'), std::string("'; DROP TABLE assets; --")}) {
    log.clear();
    EXPECT_EQ(create(title).value(), newAlbum("created-" + std::to_string(++id), title));
    EXPECT_EQ(log.eventsOf("creation"),
              Names{"creationRequestForAssetCollectionWithTitle " + title});
  }
}

TEST_F(CreateAlbum, MakesASecondAlbumOfTheSameTitle) {
  EXPECT_EQ(create().value(), newAlbum("created-1", "Holidays"));
  EXPECT_EQ(create().value(), newAlbum("created-2", "Holidays"));
}

TEST_F(CreateAlbum, RepliesWhatTheLibraryReportsAfterwards) {
  const RecordedReply reply = start();
  stepChange();
  library.removeCollection("created-1");
  library.addCollection(userAlbum("created-1", "Other"), {});
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), newAlbum("created-1", "Other"));
}

TEST_F(CreateAlbum, RepliesAnEmptyTitleWhenTheLibraryGivesNone) {
  const RecordedReply reply = start();
  stepChange();
  library.removeCollection("created-1");
  library.addCollection(userAlbum("created-1", std::nullopt), {});
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), newAlbum("created-1", ""));
}

TEST_F(CreateAlbum, CountsNothing) {
  library.addAsset(photo("p"));
  const RecordedReply reply = start();
  stepChange();
  library.removeCollection("created-1");
  library.addCollection(userAlbum("created-1", "Holidays"), {"p"});
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), newAlbum("created-1", "Holidays"));
  EXPECT_EQ(log.count("fetchAssets"), 0u);
}

TEST_F(CreateAlbum, ReportsAFailedChangeByItsDescription) {
  library.nextChangeFails = failure;
  const RecordedReply reply = create();
  EXPECT_EQ(reply.error(), albumError(failureText));
  expectFromMainQueue(reply);
  EXPECT_EQ(log.count("fetch"), 0u);
}

TEST_F(CreateAlbum, ReportsAFailureWithoutAnErrorWithoutDetails) {
  endChangesWith(false, std::nullopt);
  EXPECT_EQ(create().error(), albumError(Value()));
}

TEST_F(CreateAlbum, ReportsTheFailureBeforeAMissingPlaceholder) {
  library.creationRequestsFail = true;
  library.nextChangeFails = failure;
  EXPECT_EQ(create().error(), albumError(failureText));
}

TEST_F(CreateAlbum, ReportsASuccessWithoutAPlaceholder) {
  library.creationRequestsFail = true;
  EXPECT_EQ(create().error(), albumError("nil placeholder"));
  EXPECT_EQ(log.count("fetch"), 0u);
}

TEST_F(CreateAlbum, ReportsAnAlbumThatIsNotFoundAfterwards) {
  const RecordedReply reply = start();
  stepChange();
  library.removeCollection("created-1");
  plugin.runToEnd();
  EXPECT_EQ(reply.error(), albumError("fetch result error"));
}

TEST_F(CreateAlbum, GoesByTheSuccessAndNotByTheError) {
  endChangesWith(true, failure);
  EXPECT_EQ(create().value(), newAlbum("created-1", "Holidays"));
}

TEST_F(CreateAlbum, FailsWithoutAuthorisation) {
  library.status = PHAuthorizationStatus::denied;
  EXPECT_EQ(create().error().message, "Create album error");
  EXPECT_EQ(log.count("creation"), 0u);
  EXPECT_EQ(log.count("authorizationStatus"), 0u);
}

TEST_F(CreateAlbum, KeepsCallsApart) {
  const RecordedReply first = start("One");
  const RecordedReply second = start("Two");
  plugin.runToEnd();
  EXPECT_EQ(first.value(), newAlbum("created-1", "One"));
  EXPECT_EQ(second.value(), newAlbum("created-2", "Two"));
}

TEST_F(CreateAlbum, CachesNothing) {
  create();
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(CreateAlbum, AnswersWhenTheHostHasLetGoOfThePlugin) {
  const RecordedReply reply = start();
  letGoOfThePlugin();
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), newAlbum("created-1", "Holidays"));
}

TEST(CreateAlbumAnywhere, NeedsNoImageManager) {
  PluginHarness bare(failTheTest(), PluginHarness::Has::noImageManager);
  EXPECT_EQ(bare.answer("createAlbum", Map{{"title", "Holidays"}}).value(),
            newAlbum("created-1", "Holidays"));
}

}  // namespace
}  // namespace quorvin
