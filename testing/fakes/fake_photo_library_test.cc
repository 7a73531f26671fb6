#include "testing/fakes/fake_photo_library.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "testing/fakes/samples.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;

Names idsOf(const FetchResult<PHAsset>& result) {
  Names ids;
  result->enumerateObjectsUsingBlock(
      [&ids](const PHAsset& asset) { ids.push_back(asset.localIdentifier); });
  return ids;
}

Names idsOf(const FetchResult<PHAssetCollection>& result) {
  Names ids;
  result->enumerateObjectsUsingBlock(
      [&ids](const PHAssetCollection& one) { ids.push_back(one.localIdentifier); });
  return ids;
}

class FakePhotoLibraryTest : public testing::Test {
 protected:
  FakePhotoLibraryTest() {
    library.addAsset(photo("p1", 20));
    library.addAsset(video("v", 10));
    library.addAsset(photo("undated"));
    library.addAsset(audio("a", 20));
    library.addCollection(album, {"a", "v", "undated", "p1"});
  }

  Names albumWith(const PHFetchOptions& options) {
    return idsOf(library.fetchAssetsInAssetCollection(album, &options));
  }

  static PHFetchOptions where(std::string format, std::vector<std::int32_t> arguments) {
    PHFetchOptions options;
    options.predicate = NSPredicate{std::move(format), std::move(arguments)};
    return options;
  }

  static PHFetchOptions sortedBy(std::string key, bool ascending) {
    PHFetchOptions options;
    options.sortDescriptors = {{std::move(key), ascending}};
    return options;
  }

  EventLog log;
  Names misuses;
  FakePhotoLibrary library{log, [this](const std::string& what) { misuses.push_back(what); }};
  const PHAssetCollection album = userAlbum("album", "Album");
};

TEST_F(FakePhotoLibraryTest, KnowsThePredicatesOfThisSystem) {
  EXPECT_EQ(albumWith(where("mediaType = %d", {1})), (Names{"undated", "p1"}));
  EXPECT_EQ(albumWith(where("mediaType == %d || mediaType == %d", {1, 2})),
            (Names{"v", "undated", "p1"}));
  EXPECT_EQ(albumWith(where("mediaType = %d || mediaType = %d ", {2, 3})), (Names{"a", "v"}));
  EXPECT_TRUE(misuses.empty());
}

TEST_F(FakePhotoLibraryTest, ReportsEveryOtherPredicate) {
  albumWith(where("mediaType == %d", {1}));
  albumWith(where("mediaType = %d || mediaType = %d", {1, 2}));
  albumWith(where("mediaType = %d", {}));
  albumWith(where("mediaType = %d", {1, 2}));
  EXPECT_EQ(misuses.size(), 4u);
}

TEST_F(FakePhotoLibraryTest, SortsTheUndatedFirstAndDescendingAsTheMirrorOfAscending) {
  EXPECT_EQ(albumWith(sortedBy("creationDate", true)), (Names{"undated", "v", "a", "p1"}));
  EXPECT_EQ(albumWith(sortedBy("creationDate", false)), (Names{"p1", "a", "v", "undated"}));
  albumWith(sortedBy("title", true));
  EXPECT_EQ(misuses.size(), 1u);
}

TEST_F(FakePhotoLibraryTest, LimitsWhatWasFilteredAndSorted) {
  PHFetchOptions options = where("mediaType = %d", {1});
  options.sortDescriptors = {{"creationDate", false}};
  options.fetchLimit = 1;
  EXPECT_EQ(albumWith(options), Names{"p1"});
}

TEST_F(FakePhotoLibraryTest, LeavesOutHiddenAssetsUnlessAskedOrNamed) {
  PHAsset hidden = photo("hidden");
  hidden.isHidden = true;
  library.addAsset(hidden);
  const PHAssetCollection everything = userLibrary();
  library.addCollectionOfEverything(everything);
  PHFetchOptions options;
  EXPECT_EQ(library.fetchAssetsInAssetCollection(everything, &options)->count(), 4u);
  EXPECT_EQ(library.fetchAssetsInAssetCollection(everything, nullptr)->count(), 4u);
  options.includeHiddenAssets = true;
  EXPECT_EQ(library.fetchAssetsInAssetCollection(everything, &options)->count(), 5u);
  EXPECT_EQ(library.fetchAssetsWithLocalIdentifiers(std::array<std::string, 1>{"hidden"}, nullptr)
                ->count(),
            1u);
}

TEST_F(FakePhotoLibraryTest, ListsOfABurstTheRepresentativeAndThePicksUnlessAskedForAll) {
  library.addAsset(burstMember("b1", "burst", true));
  library.addAsset(burstMember("b2", "burst"));
  PHAsset picked = burstMember("b3", "burst");
  picked.burstSelectionTypes = PHAssetBurstSelectionType::userPick;
  library.addAsset(picked);
  PHFetchOptions options;
  EXPECT_EQ(idsOf(library.fetchAssetsWithBurstIdentifier("burst", &options)), (Names{"b1", "b3"}));
  options.includeAllBurstAssets = true;
  EXPECT_EQ(idsOf(library.fetchAssetsWithBurstIdentifier("burst", &options)),
            (Names{"b1", "b2", "b3"}));
}

TEST_F(FakePhotoLibraryTest, FindsIdentifiersInItsOwnOrderAndOnce) {
  const std::array<std::string, 4> wanted = {"a", "p1", "p1", "unknown"};
  EXPECT_EQ(idsOf(library.fetchAssetsWithLocalIdentifiers(wanted, nullptr)), (Names{"p1", "a"}));
}

TEST_F(FakePhotoLibraryTest, FindsCollectionsByTypeAndSubtypeAndIdentifier) {
  library.addCollection(smartAlbum("videos", 202), {});
  library.addCollection(userAlbum("imported", {}, 6), {});
  using Type = PHAssetCollectionType;
  EXPECT_EQ(idsOf(library.fetchAssetCollectionsWithType(Type::album, 2, nullptr)), Names{"album"});
  EXPECT_EQ(idsOf(library.fetchAssetCollectionsWithType(Type::album, PHAssetCollectionSubtype::any,
                                                        nullptr)),
            (Names{"album", "imported"}));
  EXPECT_EQ(idsOf(library.fetchAssetCollectionsWithType(Type::smartAlbum, 2, nullptr)), Names{});
  EXPECT_EQ(idsOf(library.fetchAssetCollectionsWithLocalIdentifiers(
                std::array<std::string, 1>{"videos"}, nullptr)),
            Names{"videos"});
}

TEST_F(FakePhotoLibraryTest, FindsNothingWithoutAuthorisation) {
  using Status = PHAuthorizationStatus;
  for (const auto status : {Status::notDetermined, Status::restricted, Status::denied}) {
    library.status = status;
    EXPECT_EQ(albumWith({}), Names{});
    EXPECT_EQ(
        library
            .fetchAssetCollectionsWithLocalIdentifiers(std::array<std::string, 1>{"album"}, nullptr)
            ->count(),
        0u);
  }
  library.status = Status::limited;
  EXPECT_EQ(albumWith({}).size(), 4u);
}

TEST_F(FakePhotoLibraryTest, KeepsAResultWhateverHappensToTheLibrary) {
  const auto result = library.fetchAssetsInAssetCollection(album, nullptr);
  library.removeAsset("v");
  EXPECT_EQ(idsOf(result), (Names{"a", "v", "undated", "p1"}));
  EXPECT_EQ(albumWith({}), (Names{"a", "undated", "p1"}));
}

TEST_F(FakePhotoLibraryTest, RunsAChangeInTwoStepsAndAppliesItBeforeTheCompletion) {
  std::optional<bool> succeeded;
  std::string created;
  library.performChanges(
      [&](PHChangeRequests& requests) {
        const auto placeholder = requests.creationRequestForAssetFromImageAtFileURL("/a.jpg");
        created = placeholder->localIdentifier;
        EXPECT_TRUE(requests.addAssets(album, std::array{*placeholder}));
        EXPECT_FALSE(library.assetIdentifiers().back() == created);
      },
      [&](bool success, const std::optional<NSError>&) {
        succeeded = success;
        EXPECT_EQ(library.assetIdentifiers().back(), created);
      });
  EXPECT_TRUE(created.empty());
  library.changes.runNextOnNewThread();
  EXPECT_EQ(succeeded, std::nullopt);
  library.changes.runNextOnNewThread();
  EXPECT_EQ(succeeded, true);
  EXPECT_EQ(library.membersOf("album").back(), created);
}

TEST_F(FakePhotoLibraryTest, AppliesNothingOfAChangeThatFails) {
  library.nextChangeFails = NSError{"Domain", 1, "No."};
  std::optional<NSError> reported;
  library.performChanges(
      [&](PHChangeRequests& requests) {
        requests.deleteAssets(*library.fetchAssetsInAssetCollection(album, nullptr));
      },
      [&](bool, const std::optional<NSError>& error) { reported = error; });
  while (library.changes.runNext()) {
  }
  EXPECT_EQ(reported->localizedDescription, "No.");
  EXPECT_EQ(library.assetIdentifiers().size(), 4u);
}

TEST_F(FakePhotoLibraryTest, MakesAlbumsAndDeletesAssets) {
  library.performChanges(
      [&](PHChangeRequests& requests) {
        requests.creationRequestForAssetCollectionWithTitle("New");
        requests.deleteAssets(*library.fetchAssetsInAssetCollection(album, nullptr));
      },
      [](bool, const std::optional<NSError>&) {});
  while (library.changes.runNext()) {
  }
  const auto albums =
      library.fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr);
  ASSERT_EQ(albums->count(), 2u);
  EXPECT_EQ(albums->objectAtIndexedSubscript(1)->localizedTitle, "New");
  EXPECT_TRUE(library.assetIdentifiers().empty());
}

TEST_F(FakePhotoLibraryTest, RefusesRequestsWhenTold) {
  library.creationRequestsFail = true;
  library.albumsTakeChanges = false;
  library.performChanges(
      [&](PHChangeRequests& requests) {
        EXPECT_FALSE(requests.creationRequestForAssetFromVideoAtFileURL("/v.mov"));
        EXPECT_FALSE(requests.creationRequestForAssetCollectionWithTitle("New"));
        EXPECT_FALSE(requests.addAssets(album, {}));
      },
      [](bool, const std::optional<NSError>&) {});
  EXPECT_TRUE(library.changes.runNext());
}

TEST_F(FakePhotoLibraryTest, RunsNoBlockWithoutAuthorisation) {
  library.status = PHAuthorizationStatus::denied;
  std::optional<bool> succeeded;
  library.performChanges([](PHChangeRequests&) { FAIL() << "nobody allowed it"; },
                         [&](bool success, const std::optional<NSError>& error) {
                           succeeded = success;
                           EXPECT_TRUE(error);
                         });
  while (library.changes.runNext()) {
  }
  EXPECT_EQ(succeeded, false);
}

TEST_F(FakePhotoLibraryTest, HoldsAnAssetOnceInAnAlbumAndNoneByHandInASmartAlbum) {
  library.addCollection(smartAlbum("videos", 202), {});
  library.performChanges(
      [&](PHChangeRequests& requests) {
        const std::array asset{PHObjectPlaceholder{"v"}};
        EXPECT_TRUE(requests.addAssets(album, asset));
        EXPECT_FALSE(requests.addAssets(smartAlbum("videos", 202), asset));
      },
      [](bool, const std::optional<NSError>&) {});
  while (library.changes.runNext()) {
  }
  EXPECT_EQ(library.membersOf("album"), (Names{"a", "v", "undated", "p1"}));
  EXPECT_EQ(library.membersOf("videos"), Names{});
}

TEST_F(FakePhotoLibraryTest, AppliesNothingWhenAnAlbumHasGone) {
  bool succeeded = true;
  library.performChanges(
      [&](PHChangeRequests& requests) {
        const auto asset = requests.creationRequestForAssetFromImageAtFileURL("/a.jpg");
        EXPECT_TRUE(requests.addAssets(album, std::array{*asset}));
      },
      [&](bool success, const std::optional<NSError>&) { succeeded = success; });
  library.removeCollection("album");
  while (library.changes.runNext()) {
  }
  EXPECT_FALSE(succeeded);
  EXPECT_EQ(library.assetIdentifiers().size(), 4u);
}

TEST_F(FakePhotoLibraryTest, TellsTheCompletionWhatTheTestLaysDown) {
  library.beforeCompletion = [](bool& success, std::optional<NSError>& error) {
    EXPECT_TRUE(success);
    success = false;
    error = std::nullopt;
  };
  std::optional<bool> succeeded;
  library.performChanges([](PHChangeRequests&) {},
                         [&](bool success, const std::optional<NSError>& error) {
                           succeeded = success;
                           EXPECT_FALSE(error);
                         });
  while (library.changes.runNext()) {
  }
  EXPECT_EQ(succeeded, false);
}

}  // namespace
}  // namespace quorvin
