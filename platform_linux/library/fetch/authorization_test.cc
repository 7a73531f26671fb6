#include <gtest/gtest.h>
#include <linux/magic.h>

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/upkeep/administration.h"
#include "testing/platform/pretended_file_system.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

using Status = PHAuthorizationStatus;

constexpr Status kStatuses[] = {Status::notDetermined, Status::restricted, Status::denied,
                                Status::authorized, Status::limited};

// Runs its work when the test says so.
class StepQueue final : public DispatchQueue {
 public:
  void async(std::function<void()> work) override { waiting_.push_back(std::move(work)); }
  void runAll() {
    while (!waiting_.empty()) {
      const auto work = std::move(waiting_.front());
      waiting_.pop_front();
      work();
    }
  }

 private:
  std::deque<std::function<void()>> waiting_;
};

struct Fixture {
  TemporaryFolder folder;
  StepQueue queue;
  int asked = 0;
  std::optional<Status> answer;

  std::unique_ptr<Library> open(std::optional<Status> own = std::nullopt, bool hasPrompt = true) {
    LibraryOptions options{
        .path = folder / "library", .authorization = own, .prompt = {}, .mainQueue = &queue};
    if (hasPrompt) {
      options.prompt = [this] {
        ++asked;
        return answer;
      };
    }
    return *Library::open(std::move(options));
  }

  std::optional<Status> request(Library& library) {
    std::optional<Status> told;
    library.requestAuthorization([&told](Status status) { told = status; });
    EXPECT_FALSE(told.has_value());  // never before it returns
    queue.runAll();
    return told;
  }
};

TEST(Authorization, IsStoredInTheLibrary) {
  Fixture test;
  const auto library = test.open();
  EXPECT_EQ(library->authorizationStatus(), Status::notDetermined);
  for (const Status status : kStatuses) {
    ASSERT_TRUE(storeAuthorization(test.folder / "library", status));
    EXPECT_EQ(library->authorizationStatus(), status);
    EXPECT_EQ(test.open()->authorizationStatus(), status);
  }
}

TEST(Authorization, OfOneOpenerOverridesTheStoredOne) {
  Fixture test;
  ASSERT_TRUE(storeAuthorization(test.folder / "library", Status::authorized));
  EXPECT_EQ(test.open(Status::denied)->authorizationStatus(), Status::denied);
  EXPECT_EQ(test.open()->authorizationStatus(), Status::authorized);
}

TEST(Authorization, AsksOnceAndKeepsTheAnswer) {
  for (const Status status : {Status::authorized, Status::denied, Status::limited}) {
    Fixture test;
    test.answer = status;
    const auto library = test.open();
    EXPECT_EQ(test.request(*library), status);
    EXPECT_EQ(test.request(*library), status);
    EXPECT_EQ(test.asked, 1);
    EXPECT_EQ(test.open()->authorizationStatus(), status);
  }
}

TEST(Authorization, OfALibraryThatCanOnlyBeReadIsKeptForTheOpenerThatAsked) {
  Fixture test;
  ASSERT_TRUE(storeAuthorization(test.folder / "library", Status::notDetermined));
  const PretendedFileSystem nfs(test.folder.path(), NFS_SUPER_MAGIC);
  test.answer = Status::authorized;
  const auto library = test.open();
  EXPECT_EQ(test.request(*library), Status::authorized);
  EXPECT_EQ(library->authorizationStatus(), Status::authorized);
  EXPECT_EQ(test.request(*library), Status::authorized);
  EXPECT_EQ(test.asked, 1);
  EXPECT_EQ(test.open()->authorizationStatus(), Status::notDetermined);
}

TEST(Authorization, AnswersTwoRequestsWithOnePrompt) {
  Fixture test;
  test.answer = Status::authorized;
  const auto library = test.open();
  std::vector<Status> told;
  for (int i = 0; i < 2; ++i) {
    library->requestAuthorization([&told](Status status) { told.push_back(status); });
  }
  test.queue.runAll();
  EXPECT_EQ(told, (std::vector<Status>{Status::authorized, Status::authorized}));
  EXPECT_EQ(test.asked, 1);
}

TEST(Authorization, AsksOneQuestionAtATimeWhenThePromptRunsTheQueue) {
  Fixture test;
  std::vector<int> told;
  std::unique_ptr<Library> library;
  const auto request = [&](int number) {
    library->requestAuthorization([&told, number](Status status) {
      EXPECT_EQ(status, Status::authorized);
      told.push_back(number);
    });
  };
  library = *Library::open({.path = test.folder / "library",
                            .authorization = {},
                            .prompt = [&]() -> std::optional<Status> {
                              EXPECT_EQ(++test.asked, 1);
                              request(3);
                              test.queue.runAll();
                              EXPECT_TRUE(told.empty()) << "nobody has answered yet";
                              return Status::authorized;
                            },
                            .mainQueue = &test.queue});
  request(1);
  request(2);
  test.queue.runAll();
  EXPECT_EQ(told, (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(test.asked, 1);
}

TEST(Authorization, MayAskAgainWhenNobodyAnswered) {
  Fixture test;
  const auto library = test.open();
  EXPECT_EQ(test.request(*library), Status::notDetermined);
  test.answer = Status::limited;
  EXPECT_EQ(test.request(*library), Status::limited);
  EXPECT_EQ(test.asked, 2);
}

TEST(Authorization, DoesNotAskWhatWasDecided) {
  for (const Status status :
       {Status::restricted, Status::denied, Status::authorized, Status::limited}) {
    Fixture test;
    test.answer = Status::authorized;
    EXPECT_EQ(test.request(*test.open(status)), status);
    EXPECT_EQ(test.asked, 0);
  }
}

TEST(Authorization, StaysWhenNobodyAnswers) {
  Fixture test;
  EXPECT_EQ(test.request(*test.open()), Status::notDetermined);
  EXPECT_EQ(test.asked, 1);
  EXPECT_EQ(test.request(*test.open(std::nullopt, false)), Status::notDetermined);
}

TEST(Authorization, KeepsTheAnswerOfAnOpenerWithItsOwnStatusToItself) {
  Fixture test;
  test.answer = Status::authorized;
  const auto library = test.open(Status::notDetermined);
  EXPECT_EQ(test.request(*library), Status::authorized);
  EXPECT_EQ(library->authorizationStatus(), Status::authorized);
  EXPECT_EQ(test.open()->authorizationStatus(), Status::notDetermined);
}

TEST(Authorization, MayBeRequestedByALibraryThatGoes) {
  Fixture test;
  test.answer = Status::authorized;
  std::optional<Status> told;
  test.open()->requestAuthorization([&told](Status status) { told = status; });
  test.queue.runAll();
  EXPECT_EQ(told, Status::authorized);
}

TEST(Authorization, WithoutItNothingIsFound) {
  TestLibrary test;
  const auto asset = test.gardener.plant({.burst = "B", .represents = true});
  const auto album = test.gardener.plantAlbum("Trip");
  const auto recents = test.smart(209);
  for (const Status status : {Status::notDetermined, Status::restricted, Status::denied}) {
    const auto closed = test.open(status);
    EXPECT_EQ(closed->fetchAssetsWithLocalIdentifiers({{asset}}, nullptr)->count(), 0U);
    EXPECT_EQ(closed->fetchAssetsInAssetCollection(*recents, nullptr)->count(), 0U);
    EXPECT_EQ(closed->fetchAssetsWithBurstIdentifier("B", nullptr)->count(), 0U);
    EXPECT_EQ(closed->fetchAssetCollectionsWithLocalIdentifiers({{album}}, nullptr)->count(), 0U);
    for (const auto type : {PHAssetCollectionType::album, PHAssetCollectionType::smartAlbum}) {
      EXPECT_EQ(closed->fetchAssetCollectionsWithType(type, PHAssetCollectionSubtype::any, nullptr)
                    ->count(),
                0U);
    }
    EXPECT_TRUE(closed->assetResourcesForAsset({.localIdentifier = asset}).empty());
    const auto code = status == Status::restricted ? LibraryErrorCode::accessRestricted
                                                   : LibraryErrorCode::accessUserDenied;
    EXPECT_EQ(closed->storedResources(asset).error().code, static_cast<std::int64_t>(code));
  }
}

TEST(Authorization, WhenLimitedShowsOnlyTheSelection) {
  TestLibrary test;
  const auto selected = test.gardener.plant({.burst = "B", .represents = true});
  const auto other = test.gardener.plant({.burst = "B", .represents = true});
  const auto album = test.gardener.plantAlbum("Trip");
  test.gardener.addToAlbum(album, selected);
  test.gardener.run("INSERT INTO limited_selection VALUES (1)");
  const auto limited = test.open(Status::limited);
  const auto recents = test.smart(209);
  const std::vector<std::string> expected = {selected};
  const std::vector<std::string> both = {selected, other};
  for (const PHFetchOptions& options : {PHFetchOptions(), byDate(true), byDate(false, 5)}) {
    EXPECT_EQ(
        TestLibrary::identifiersOf(*limited->fetchAssetsInAssetCollection(*recents, &options)),
        expected);
    EXPECT_EQ(
        TestLibrary::identifiersOf(*test.library->fetchAssetsInAssetCollection(*recents, &options))
            .size(),
        2U);
  }
  EXPECT_EQ(TestLibrary::identifiersOf(*limited->fetchAssetsWithLocalIdentifiers(both, nullptr)),
            expected);
  EXPECT_EQ(TestLibrary::identifiersOf(*limited->fetchAssetsWithBurstIdentifier("B", nullptr)),
            expected);
  EXPECT_EQ(limited->fetchAssetCollectionsWithLocalIdentifiers({{album}}, nullptr)->count(), 0U);
  EXPECT_EQ(limited->fetchAssetsInAssetCollection({.localIdentifier = album}, nullptr)->count(),
            0U);
  EXPECT_EQ(limited
                ->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum,
                                                PHAssetCollectionSubtype::any, nullptr)
                ->count(),
            15U);
  EXPECT_FALSE(limited->storedResources(other));
  EXPECT_TRUE(limited->storedResources(selected));
}

}  // namespace
}  // namespace quorvin
