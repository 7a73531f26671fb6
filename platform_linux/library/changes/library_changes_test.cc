#include "platform_linux/library/changes/library_changes.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "platform_linux/dispatch/linux_dispatch.h"
#include "platform_linux/dispatch/main_queue.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

struct LibraryChanged : testing::Test, ChangeFixture {};

TEST_F(LibraryChanged, RunsItsBlockAndItsCompletionOnThreadsOfTheirOwn) {
  std::thread::id block;
  std::promise<std::thread::id> completion;
  changes->performChanges([&block](PHChangeRequests&) { block = std::this_thread::get_id(); },
                          [&completion](bool, const std::optional<NSError>&) {
                            completion.set_value(std::this_thread::get_id());
                          });
  const std::thread::id completed = completion.get_future().get();
  EXPECT_NE(block, std::this_thread::get_id());
  EXPECT_NE(completed, std::this_thread::get_id());
  EXPECT_NE(completed, block);
}

TEST_F(LibraryChanged, MakesAlbumsThatMayShareATitle) {
  std::vector<std::string> albums;
  for (int i = 0; i < 2; ++i) {
    EXPECT_TRUE(
        perform([&albums](PHChangeRequests& requests) {
          albums.push_back(
              requests.creationRequestForAssetCollectionWithTitle("Ferien é")->localIdentifier);
        }).success);
  }
  EXPECT_NE(albums[0], albums[1]);
  for (const std::string& album : albums) {
    const auto found = findAlbum(album);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(found->localizedTitle, "Ferien é");
    EXPECT_EQ(found->assetCollectionSubtype, PHAssetCollectionSubtype::albumRegular);
  }
  const auto listed = library->fetchAssetCollectionsWithType(
      PHAssetCollectionType::album, PHAssetCollectionSubtype::any, nullptr);
  EXPECT_EQ(listed->objectAtIndexedSubscript(0)->localIdentifier, albums[0]);
}

TEST_F(LibraryChanged, NamesTheAssetThatIsGone) {
  const auto album = findAlbum(gardener.plantAlbum("Holidays"));
  const auto outcome = perform([&album](PHChangeRequests& requests) {
    EXPECT_TRUE(requests.addAssets(*album, std::vector<PHObjectPlaceholder>{{"none"}}));
  });
  EXPECT_EQ(outcome.code(), LibraryErrorCode::identifierNotFound);
  EXPECT_NE(outcome.text().find("The asset “none” is not in the library."), std::string::npos);
}

TEST_F(LibraryChanged, IsSeenByTheNextFetchOfAnotherEngine) {
  const auto other = open();
  const std::string asset = gardener.plant({});
  const std::vector<std::string> identifiers = {asset};
  EXPECT_EQ(other->fetchAssetsWithLocalIdentifiers(identifiers, nullptr)->count(), 1U);
  EXPECT_TRUE(deleteAssets({asset}).success);
  EXPECT_EQ(other->fetchAssetsWithLocalIdentifiers(identifiers, nullptr)->count(), 0U);
}

TEST_F(LibraryChanged, DeletesWhatAnotherEngineFetched) {
  const auto other = open();
  const std::vector<std::string> identifiers = {gardener.plant({}), gardener.plant({})};
  const auto assets = other->fetchAssetsWithLocalIdentifiers(identifiers, nullptr);
  EXPECT_TRUE(perform([&](PHChangeRequests& requests) { requests.deleteAssets(*assets); }).success);
  EXPECT_TRUE(recents().empty());
}

TEST_F(LibraryChanged, TakesDeletedAssetsOutOfEveryFetchAndKeepsTheirFiles) {
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  const std::string album = gardener.plantAlbum("Holidays");
  gardener.addToAlbum(album, saved);
  const auto before = library->fetchAssetsInAssetCollection(*smart(209), nullptr);
  EXPECT_TRUE(deleteAssets({saved}).success);
  EXPECT_EQ(find(saved), nullptr);
  EXPECT_TRUE(recents().empty());
  EXPECT_TRUE(list(*findAlbum(album)).empty());
  EXPECT_EQ(before->firstObject()->localIdentifier, saved);
  EXPECT_FALSE(library->storedResources(saved));
  EXPECT_EQ(filesBelow(folder / "library/originals"), originalsOf(saved));
}

TEST_F(LibraryChanged, TakesTheDeletionOfDeletedAssetsForDone) {
  const std::string asset = gardener.plant({});
  const std::vector<std::string> identifiers = {asset};
  const auto assets = library->fetchAssetsWithLocalIdentifiers(identifiers, nullptr);
  const auto remove = [&](PHChangeRequests& requests) { requests.deleteAssets(*assets); };
  EXPECT_TRUE(perform(remove).success);
  const std::string when = gardener.text("SELECT trashed_ns FROM assets");
  EXPECT_TRUE(perform(remove).success);
  EXPECT_EQ(gardener.text("SELECT trashed_ns FROM assets"), when);
}

struct DeletionPrompts : testing::Test, ChangeFixture {
  std::unique_ptr<LinuxDispatch> dispatch = *LinuxDispatch::create();
  std::vector<std::size_t> asked;

  void ask(bool answer) {
    reopen(PHAuthorizationStatus::authorized, {.deletionPrompt =
                                                   [this, answer](std::size_t count) {
                                                     asked.push_back(count);
                                                     return answer;
                                                   },
                                               .mainQueue = &dispatch->mainQueue()});
  }
  ChangeOutcome deleteAndRunMainQueue(const std::vector<std::string>& identifiers) {
    auto outcome = start([this, identifiers](PHChangeRequests& requests) {
      requests.deleteAssets(*library->fetchAssetsWithLocalIdentifiers(identifiers, nullptr));
    });
    dispatch->mainQueue().run(-1);
    return outcome.get();
  }
};

TEST_F(DeletionPrompts, AskOnceForAllAssetsAndDeleteWhenAllowed) {
  const std::vector<std::string> assets = {gardener.plant({}), gardener.plant({})};
  ask(true);
  EXPECT_TRUE(deleteAndRunMainQueue(assets).success);
  EXPECT_EQ(asked, std::vector<std::size_t>{2});
  EXPECT_TRUE(recents().empty());
}

TEST_F(DeletionPrompts, RefuseTheWholeChange) {
  const std::string asset = gardener.plant({});
  ask(false);
  const ChangeOutcome outcome = deleteAndRunMainQueue({asset});
  EXPECT_FALSE(outcome.success);
  EXPECT_EQ(outcome.code(), LibraryErrorCode::userCancelled);
  EXPECT_NE(find(asset), nullptr);
}

TEST_F(DeletionPrompts, StaySilentWhenNothingIsDeleted) {
  ask(false);
  EXPECT_TRUE(deleteAssets({}).success);
  EXPECT_TRUE(deleteAssets({"unknown"}).success);
  EXPECT_TRUE(saveImage(put("a.jpg", "image")).success);
  EXPECT_TRUE(asked.empty());
}

TEST_F(DeletionPrompts, CountAsRefusedWhenTheMainQueueCloses) {
  const std::string asset = gardener.plant({});
  ask(true);
  dispatch->mainQueue().close();
  EXPECT_EQ(deleteAssets({asset}).code(), LibraryErrorCode::userCancelled);
  EXPECT_TRUE(asked.empty());
}

TEST_F(DeletionPrompts, DoNotHoldUpAShutDown) {
  const std::string asset = gardener.plant({});
  ask(true);
  std::latch inBlock(1);
  const std::vector<std::string> identifiers = {asset};
  changes->performChanges(
      [&](PHChangeRequests& requests) {
        requests.deleteAssets(*library->fetchAssetsWithLocalIdentifiers(identifiers, nullptr));
        inBlock.count_down();
      },
      [](bool, const std::optional<NSError>&) { ADD_FAILURE() << "completed after the end"; });
  inBlock.wait();
  changes->shutDown();
  dispatch->mainQueue().run(0);
  EXPECT_TRUE(asked.empty());
  EXPECT_NE(find(asset), nullptr);
}

TEST_F(LibraryChanged, IsDroppedWithoutACallWhenItWaitsAtTheShutDown) {
  std::latch running(1);
  std::latch shuttingDown(1);
  std::atomic<int> calls = 0;
  changes->performChanges(
      [&](PHChangeRequests& requests) {
        requests.creationRequestForAssetCollectionWithTitle("Under way");
        running.count_down();
        shuttingDown.wait();
      },
      [&calls](bool, const std::optional<NSError>&) { ++calls; });
  changes->performChanges([&calls](PHChangeRequests&) { ++calls; },
                          [&calls](bool, const std::optional<NSError>&) { ++calls; });
  running.wait();
  changes->beginShutDown();
  shuttingDown.count_down();
  changes->shutDown();
  changes->performChanges([&calls](PHChangeRequests&) { ++calls; },
                          [&calls](bool, const std::optional<NSError>&) { ++calls; });
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(gardener.text("SELECT title FROM collections WHERE type = 1"), "Under way");
}

}  // namespace
}  // namespace quorvin
