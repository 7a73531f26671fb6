#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "core/queries/asset_record.h"
#include "testing/plugin/changes_fixture.h"

namespace quorvin {
namespace {

Map deletionOf(const std::vector<std::string>& identifiers) {
  List list;
  for (const std::string& each : identifiers) list.emplace_back(each);
  return {{"assetIds", list}};
}

/// Three photos, all in one album.
class DeleteAssets : public ChangeTest {
 protected:
  DeleteAssets() {
    for (const char* id : {"a", "b", "c"}) library.addAsset(photo(id));
    library.addCollection(userAlbum("album"), {"c", "b", "a"});
    log.clear();
  }

  RecordedReply remove(const std::vector<std::string>& identifiers) {
    return plugin.answer("deleteAssets", deletionOf(identifiers));
  }

  void listTheAlbum() {
    plugin.answer(
        "getAssetList",
        Map{{"collectionId", "album"}, {"start", 0}, {"end", 9}, {"sort", 2}, {"mediaType", 0}});
    log.clear();
  }
};

TEST_F(DeleteAssets, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, "deleteAssets", deletionOf({"a"}), {{"assetIds", Takes::texts}},
                       "Error arguments");
  EXPECT_EQ(library.assetIdentifiers(), (Names{"b", "c"}));
}

TEST_F(DeleteAssets, RefusesOtherThingsAmongTheIdentifiersAndDeletesNone) {
  for (const Value& odd : {Value(1), Value(), Value(true), Value(1.5), Value(List{Value("b")})}) {
    for (const List& list : {List{"a", odd}, List{odd, "a"}, List{"a", odd, "b"}}) {
      expectRefused(plugin, "deleteAssets", Map{{"assetIds", list}}, "Error arguments");
    }
  }
  EXPECT_EQ(library.assetIdentifiers().size(), 3u);
}

TEST_F(DeleteAssets, IgnoresFurtherArguments) {
  Map call = deletionOf({"a"});
  call.emplace_back("count", 7);
  EXPECT_EQ(plugin.answer("deleteAssets", call).value(), Value(true));
}

TEST_F(DeleteAssets, RepliesTrueOnceTheAssetsAreGone) {
  EXPECT_EQ(remove({"c", "a"}).value(), Value(true));
  EXPECT_EQ(library.assetIdentifiers(), Names{"b"});
  EXPECT_EQ(library.membersOf("album"), Names{"b"});
}

TEST_F(DeleteAssets, TakesEveryStepInItsOrder) {
  const RecordedReply reply = plugin.call("deleteAssets", deletionOf({"c", "a"}));
  EXPECT_EQ(log.events(), (Names{"performChanges", "changes.async"}));
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(), (Names{"fetchAssetsWithLocalIdentifiers [c, a] none",
                                 "deleteAssets [a, c]", "changes.async"}));
  EXPECT_EQ(reply.answerCount(), 0u);
  log.clear();
  stepChange();
  EXPECT_EQ(log.events(), Names{"main.async"});
  EXPECT_EQ(reply.answerCount(), 0u);
  stepMain();
  EXPECT_EQ(reply.value(), Value(true));
  expectFromMainQueue(reply);
}

TEST_F(DeleteAssets, FetchesInTheChangeWithoutTheLock) {
  const auto queues = watchFetches();
  remove({"a"});
  EXPECT_EQ(*queues, std::vector<const ManualQueue*>{&library.changes});
}

TEST_F(DeleteAssets, FetchesWhatIsThereWhenTheChangeRuns) {
  const RecordedReply reply = plugin.call("deleteAssets", deletionOf({"a", "late"}));
  library.removeAsset("a");
  library.addAsset(photo("late"));
  plugin.runToEnd();
  EXPECT_EQ(log.eventsOf("deleteAssets"), Names{"deleteAssets [late]"});
  EXPECT_EQ(reply.value(), Value(true));
}

TEST_F(DeleteAssets, ChangesTheLibraryOnceAlsoForNoIdentifier) {
  EXPECT_EQ(remove({}).value(), Value(true));
  EXPECT_EQ(log.events(),
            (Names{"performChanges", "changes.async", "fetchAssetsWithLocalIdentifiers [] none",
                   "deleteAssets []", "changes.async", "main.async", "reply deleteAssets"}));
  EXPECT_EQ(library.assetIdentifiers().size(), 3u);
}

TEST_F(DeleteAssets, LeavesTheOutcomeOfAnEmptyListToTheChange) {
  library.nextChangeFails = failure;
  EXPECT_EQ(remove({}).error(), (FlutterError{"Error", "Deleting assets error", failureText}));
}

TEST_F(DeleteAssets, PassesOverWhatNothingHas) {
  EXPECT_EQ(remove({"unknown", "b", ""}).value(), Value(true));
  EXPECT_EQ(log.eventsOf("fetch"), Names{"fetchAssetsWithLocalIdentifiers [unknown, b, ] none"});
  EXPECT_EQ(library.assetIdentifiers(), (Names{"a", "c"}));
  EXPECT_EQ(remove({"unknown"}).value(), Value(true));
  EXPECT_EQ(log.eventsOf("deleteAssets").back(), "deleteAssets []");
}

TEST_F(DeleteAssets, HandsARepeatedIdentifierOnAsItIs) {
  EXPECT_EQ(remove({"b", "b"}).value(), Value(true));
  EXPECT_EQ(log.eventsOf("fetch"), Names{"fetchAssetsWithLocalIdentifiers [b, b] none"});
  EXPECT_EQ(log.eventsOf("deleteAssets"), Names{"deleteAssets [b]"});
}

TEST_F(DeleteAssets, DeletesHiddenAssetsAndMembersOfBursts) {
  PHAsset hidden = photo("hidden");
  hidden.isHidden = true;
  library.addAsset(hidden);
  library.addAsset(burstMember("member", "burst"));
  EXPECT_EQ(remove({"hidden", "member"}).value(), Value(true));
  EXPECT_EQ(library.assetIdentifiers(), (Names{"a", "b", "c"}));
}

TEST_F(DeleteAssets, ReportsAFailedChangeByItsDescription) {
  library.nextChangeFails = failure;
  const RecordedReply reply = remove({"a"});
  EXPECT_EQ(reply.error(), (FlutterError{"Error", "Deleting assets error", failureText}));
  expectFromMainQueue(reply);
  EXPECT_EQ(library.assetIdentifiers().size(), 3u);
}

TEST_F(DeleteAssets, ReportsAFailureWithoutAnErrorWithoutDetails) {
  endChangesWith(false, std::nullopt);
  EXPECT_EQ(remove({"a"}).error(), (FlutterError{"Error", "Deleting assets error", Value()}));
}

TEST_F(DeleteAssets, ReportsAnEmptyDescriptionAsText) {
  endChangesWith(false, NSError{"Domain", 1, ""});
  EXPECT_EQ(remove({"a"}).error().details, Value(""));
}

TEST_F(DeleteAssets, GoesByTheSuccessAndNotByTheError) {
  endChangesWith(true, failure);
  EXPECT_EQ(remove({"a"}).value(), Value(true));
}

TEST_F(DeleteAssets, FailsWithoutAuthorisation) {
  library.status = PHAuthorizationStatus::denied;
  EXPECT_EQ(remove({"a"}).error().message, "Deleting assets error");
  EXPECT_EQ(log.count("fetch"), 0u);
  EXPECT_EQ(log.count("authorizationStatus"), 0u);
}

TEST_F(DeleteAssets, LeavesDeletedAssetsInTheCache) {
  listTheAlbum();
  EXPECT_EQ(remove({"a", "b"}).value(), Value(true));
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), (Names{"a", "b", "c"}));
  log.clear();
  EXPECT_EQ(plugin.answer("getAssetInfo", Map{{"assetId", "a"}}).value(),
            Value(assetToMap(photo("a"))));
  EXPECT_EQ(log.count("fetch"), 0u);
  plugin.answer("clearAllCache");
  EXPECT_EQ(plugin.answer("getAssetInfo", Map{{"assetId", "a"}}).error().message,
            "Asset not found id = a");
}

TEST_F(DeleteAssets, FetchesAlsoWhatIsCached) {
  listTheAlbum();
  remove({"a"});
  EXPECT_EQ(log.eventsOf("fetch"), Names{"fetchAssetsWithLocalIdentifiers [a] none"});
}

TEST_F(DeleteAssets, CachesNothing) {
  remove({"a", "b"});
  library.nextChangeFails = failure;
  remove({"c"});
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(DeleteAssets, AnswersEachCallFromItsOwnChange) {
  const RecordedReply first = plugin.call("deleteAssets", deletionOf({"a"}));
  const RecordedReply second = plugin.call("deleteAssets", deletionOf({"b"}));
  library.nextChangeFails = failure;
  plugin.runToEnd();
  EXPECT_EQ(first.error().details, failureText);
  EXPECT_EQ(second.value(), Value(true));
  EXPECT_EQ(library.assetIdentifiers(), (Names{"a", "c"}));
}

TEST_F(DeleteAssets, AnswersWhenTheHostHasLetGoOfThePlugin) {
  const RecordedReply reply = plugin.call("deleteAssets", deletionOf({"a"}));
  letGoOfThePlugin();
  plugin.runToEnd();
  EXPECT_EQ(reply.value(), Value(true));
  EXPECT_EQ(library.assetIdentifiers(), (Names{"b", "c"}));
}

TEST(DeleteAssetsAnywhere, NeedsNoImageManager) {
  PluginHarness bare(failTheTest(), PluginHarness::Has::noImageManager);
  bare.library.addAsset(photo("a"));
  EXPECT_EQ(bare.answer("deleteAssets", deletionOf({"a"})).value(), Value(true));
}

}  // namespace
}  // namespace quorvin
