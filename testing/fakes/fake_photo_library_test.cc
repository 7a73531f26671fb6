#include "testing/fakes/fake_photo_library.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "testing/contracts/library_changes_contract.h"
#include "testing/contracts/photo_library_contract.h"
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

TEST_F(FakePhotoLibraryTest, ReportsEveryOtherPredicate) {
  albumWith(where("mediaType == %d", {1}));
  albumWith(where("mediaType = %d || mediaType = %d", {1, 2}));
  albumWith(where("mediaType = %d", {}));
  albumWith(where("mediaType = %d", {1, 2}));
  EXPECT_EQ(misuses.size(), 4u);
}

TEST_F(FakePhotoLibraryTest, ReportsASortKeyThatItDoesNotKnow) {
  albumWith(sortedBy("title", true));
  EXPECT_EQ(misuses.size(), 1u);
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

class FakeLibrary {
 public:
  FakeLibrary() {
    fake_.addCollectionOfEverything(userLibrary());
    fake_.faultyFiles = {{missingFile(), 3303}, {unusableFile(), 3302}};
  }

  PHPhotoLibrary& library() { return fake_; }
  PHPhotoLibraryChanges& changes() { return fake_; }

  std::string addAsset(PHAsset asset) {
    asset.localIdentifier = "asset-" + std::to_string(++planted_);
    fake_.addAsset(asset);
    return asset.localIdentifier;
  }
  std::string addAlbum(const std::string& title, std::vector<std::string> members = {},
                       std::int64_t subtype = 2) {
    const PHAssetCollection album =
        userAlbum("album-" + std::to_string(++planted_), title, subtype);
    fake_.addCollection(album, std::move(members));
    return album.localIdentifier;
  }
  void removeAsset(const std::string& identifier) { fake_.removeAsset(identifier); }
  void removeAlbum(const std::string& identifier) { fake_.removeCollection(identifier); }
  void select(const std::string& identifier) { fake_.select(identifier); }
  void allow(PHAuthorizationStatus status) { fake_.status = status; }
  void answer(PHAuthorizationStatus status) { fake_.answerAuthorizationRequests(status); }
  void refuseDeletions() { fake_.deletionsAreAllowed = false; }

  static std::string image() { return "/in/a.jpg"; }
  static std::string video() { return "/in/a.mov"; }
  static std::string missingFile() { return "/in/missing.jpg"; }
  static std::string unusableFile() { return "/in/notes.txt"; }

  void settle() {
    while (fake_.changes.runNextOnNewThread()) {
    }
  }

 private:
  EventLog log_;
  FakePhotoLibrary fake_{log_, [](const std::string& what) { ADD_FAILURE() << what; }};
  int planted_ = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, PhotoLibraryContract, FakeLibrary);
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, LibraryChangesContract, FakeLibrary);

}  // namespace
}  // namespace quorvin
