#include <gtest/gtest.h>

#include <thread>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;
using Takes = RequiredArgument::Takes;

constexpr std::int64_t kFavorites = 203;
constexpr std::int64_t kVideos = 202;

Map counts(int photos, int videos, int audios, int total) {
  return {{"photoCount", photos},
          {"videoCount", videos},
          {"audioCount", audios},
          {"totalCount", total}};
}

Value gallery(const char* type, const char* id, const char* title, Map assetCount) {
  return Map{{"type", type}, {"id", id}, {"title", title}, {"assetCount", std::move(assetCount)}};
}

Map arguments(int mediaType, bool filterEmptyAsset = false, bool withSmartAlbum = true) {
  return {{"withAllPhotos", true},
          {"filterEmptyAsset", filterEmptyAsset},
          {"withSmartAlbum", withSmartAlbum},
          {"mediaType", mediaType}};
}

class GetGalleryList : public PluginTest {
 protected:
  GetGalleryList() {
    library.addAsset(photo("p"));
    library.addAsset(video("v"));
    library.addAsset(audio("a"));
  }

  List galleries(const Map& call) {
    const Value reply = plugin.answer("getGalleryList", call).value();
    const auto* list = reply.as<List>();
    return list == nullptr ? List{Value("no list")} : *list;
  }

  Names ids(const Map& call) {
    Names found;
    for (const Value& record : galleries(call)) {
      found.emplace_back(find(*record.as<Map>(), "id")->text());
    }
    return found;
  }
};

TEST_F(GetGalleryList, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, "getGalleryList", arguments(0),
                       {{"withAllPhotos", Takes::boolean},
                        {"filterEmptyAsset", Takes::boolean},
                        {"withSmartAlbum", Takes::boolean},
                        {"mediaType", Takes::integer}},
                       "Invalid arguments");
}

TEST_F(GetGalleryList, RefusesAMediaTypeOutsideZeroToThree) {
  for (const int mediaType : {-1, 4, 1000}) {
    expectRefused(plugin, "getGalleryList", arguments(mediaType), "Invalid arguments");
  }
}

TEST_F(GetGalleryList, OfAnEmptyLibraryIsEmpty) {
  EXPECT_EQ(galleries(arguments(0)), List{});
}

TEST_F(GetGalleryList, AsksForSmartAlbumsThenForUserAlbumsAndCountsEachInTurn) {
  library.addCollection(userAlbum("album", "Trip"), {"p"});
  library.addCollectionOfEverything(userLibrary());
  library.addCollection(smartAlbum("favorites", kFavorites), {});
  log.clear();
  galleries(arguments(0));
  EXPECT_EQ(
      log.eventsOf("fetch"),
      (Names{
          "fetchAssetCollectionsWithType 2 9223372036854775807 none",
          R"(fetchAssetsInAssetCollection recents {predicate "mediaType == %d || mediaType == %d" 1 2})",
          R"(fetchAssetsInAssetCollection favorites {predicate "mediaType == %d || mediaType == %d" 1 2})",
          "fetchAssetCollectionsWithType 1 2 none",
          R"(fetchAssetsInAssetCollection album {predicate "mediaType == %d || mediaType == %d" 1 2})"}));
}

TEST_F(GetGalleryList, CountsUnderTheFiltersOwnPredicate) {
  library.addCollection(userAlbum("album"), {});
  for (const int mediaType : {1, 2, 3}) {
    log.clear();
    galleries(arguments(mediaType));
    EXPECT_EQ(log.eventsOf("fetchAssetsIn"),
              Names{R"(fetchAssetsInAssetCollection album {predicate "mediaType = %d" )" +
                    std::to_string(mediaType) + "}"});
  }
}

TEST_F(GetGalleryList, LoadsNoAsset) {
  library.addCollectionOfEverything(userLibrary());
  bool loaded = false;
  library.duringLoad = [&loaded](std::size_t) { loaded = true; };
  galleries(arguments(0));
  EXPECT_FALSE(loaded);
}

TEST_F(GetGalleryList, RecordsHaveFourKeysInOrder) {
  library.addCollection(userAlbum("album", "Trip"), {"p", "v", "a"});
  library.addCollection(smartAlbum("favorites", kFavorites, "Favorites"), {"p"});
  EXPECT_EQ(Value(galleries(arguments(0))),
            Value(List{gallery("smart", "favorites", "Favorites", counts(0, 0, 0, 1)),
                       gallery("user", "album", "Trip", counts(0, 0, 0, 2))}));
}

TEST_F(GetGalleryList, RepeatsTheTotalUnderTheFiltersTypeOnly) {
  Names members;
  for (int i = 0; i < 5; ++i) {
    members.push_back("photo" + std::to_string(i));
    library.addAsset(photo(members.back()));
  }
  for (int i = 0; i < 3; ++i) {
    members.push_back("video" + std::to_string(i));
    library.addAsset(video(members.back()));
  }
  members.push_back("a");
  library.addCollection(userAlbum("album", "A"), members);
  EXPECT_EQ(galleries(arguments(0)), List{gallery("user", "album", "A", counts(0, 0, 0, 8))});
  EXPECT_EQ(galleries(arguments(1)), List{gallery("user", "album", "A", counts(5, 0, 0, 5))});
  EXPECT_EQ(galleries(arguments(2)), List{gallery("user", "album", "A", counts(0, 3, 0, 3))});
  EXPECT_EQ(galleries(arguments(3)), List{gallery("user", "album", "A", counts(0, 0, 1, 1))});
}

TEST_F(GetGalleryList, GivesAnAlbumWithoutATitleAnEmptyOne) {
  library.addCollection(smartAlbum("favorites", kFavorites), {});
  EXPECT_EQ(galleries(arguments(0)), List{gallery("smart", "favorites", "", counts(0, 0, 0, 0))});
}

TEST_F(GetGalleryList, CallsTheUserLibraryAUserGallery) {
  library.addCollectionOfEverything(userLibrary());
  EXPECT_EQ(galleries(arguments(0)),
            List{gallery("user", "recents", "Recents", counts(0, 0, 0, 2))});
}

TEST_F(GetGalleryList, MovesTheUserLibraryBehindTheSmartAlbums) {
  library.addCollection(smartAlbum("videos", kVideos), {"v"});
  library.addCollectionOfEverything(userLibrary());
  library.addCollection(smartAlbum("favorites", kFavorites), {"p"});
  library.addCollection(userAlbum("album"), {"p"});
  EXPECT_EQ(ids(arguments(0)), (Names{"videos", "favorites", "recents", "album"}));
}

TEST_F(GetGalleryList, LeavesTheUserLibraryWhereItIsWhenItIsTheLastSmartAlbum) {
  library.addCollection(smartAlbum("videos", kVideos), {"v"});
  library.addCollectionOfEverything(userLibrary());
  EXPECT_EQ(ids(arguments(0)), (Names{"videos", "recents"}));
}

TEST_F(GetGalleryList, MovesNothingWhenTheUserLibraryIsTheOnlySmartAlbum) {
  library.addCollectionOfEverything(userLibrary());
  library.addCollection(userAlbum("album"), {"p"});
  EXPECT_EQ(ids(arguments(0)), (Names{"recents", "album"}));
}

TEST_F(GetGalleryList, MovesTheLaterOfTwoUserLibraries) {
  library.addCollectionOfEverything(userLibrary("one"));
  library.addCollectionOfEverything(userLibrary("two"));
  library.addCollection(smartAlbum("videos", kVideos), {"v"});
  EXPECT_EQ(ids(arguments(0)), (Names{"one", "videos", "two"}));
}

TEST_F(GetGalleryList, LeavesOutTheUserLibraryAloneWithoutSmartAlbums) {
  library.addCollectionOfEverything(userLibrary());
  library.addCollection(smartAlbum("favorites", kFavorites), {"p"});
  library.addCollection(smartAlbum("videos", kVideos), {"v"});
  library.addCollection(userAlbum("album"), {"p"});
  log.clear();
  EXPECT_EQ(ids(arguments(0, false, false)), (Names{"favorites", "videos", "album"}));
  EXPECT_EQ(log.count("fetchAssetsInAssetCollection recents"), 0u);
}

TEST_F(GetGalleryList, TakesNoNoticeOfWithAllPhotos) {
  library.addCollectionOfEverything(userLibrary());
  EXPECT_EQ(galleries(with(arguments(0), "withAllPhotos", false)), galleries(arguments(0)));
}

TEST_F(GetGalleryList, KeepsTheLibrarysOrder) {
  library.addCollection(userAlbum("z", "Z"), {"p"});
  library.addCollection(userAlbum("a", "A"), {"p", "v"});
  library.addCollection(smartAlbum("videos", kVideos, "Videos"), {});
  library.addCollection(smartAlbum("favorites", kFavorites, "Favorites"), {"p"});
  EXPECT_EQ(ids(arguments(0)), (Names{"videos", "favorites", "z", "a"}));
}

TEST_F(GetGalleryList, LeavesOutOtherKindsOfUserAlbums) {
  library.addCollection(userAlbum("imported", "Imported", 6), {"p"});
  library.addCollection(userAlbum("album"), {"p"});
  EXPECT_EQ(ids(arguments(0)), Names{"album"});
}

TEST_F(GetGalleryList, LeavesOutWhatIsEmptyUnderTheFilterWhenAsked) {
  library.addCollection(smartAlbum("favorites", kFavorites), {"a"});
  library.addCollection(smartAlbum("videos", kVideos), {"v"});
  library.addCollection(userAlbum("empty"), {});
  library.addCollection(userAlbum("photos"), {"p"});
  EXPECT_EQ(ids(arguments(0, true)), (Names{"videos", "photos"}));
  EXPECT_EQ(ids(arguments(2, true)), Names{"videos"});
  EXPECT_EQ(ids(arguments(0, false)), (Names{"favorites", "videos", "empty", "photos"}));
}

TEST_F(GetGalleryList, MovesTheAlbumThatTookAnEmptyUserLibrarysPlace) {
  library.addCollection(smartAlbum("one", 201), {"p"});
  library.addCollection(userLibrary(), {});
  library.addCollection(smartAlbum("two", kVideos), {"v"});
  library.addCollection(smartAlbum("three", kFavorites), {"p"});
  EXPECT_EQ(ids(arguments(0, true)), (Names{"one", "three", "two"}));
}

TEST_F(GetGalleryList, SurvivesAnEmptyUserLibraryBehindASingleSmartAlbum) {
  library.addCollection(smartAlbum("one", 201), {"p"});
  library.addCollection(userLibrary(), {});
  library.addCollection(userAlbum("album"), {"p"});
  EXPECT_EQ(ids(arguments(0, true)), (Names{"one", "album"}));
}

TEST_F(GetGalleryList, SurvivesAnEmptyUserLibraryWithNothingElse) {
  library.addCollection(userLibrary(), {});
  EXPECT_EQ(ids(arguments(0, true)), Names{});
}

using GetGalleryListDeathTest = GetGalleryList;

TEST_F(GetGalleryListDeathTest, StopsAtAnEmptyUserLibraryBehindTwoSmartAlbums) {
  library.addCollection(smartAlbum("one", 201), {"p"});
  library.addCollection(smartAlbum("two", kVideos), {"v"});
  library.addCollection(userLibrary(), {});
  EXPECT_DEATH(galleries(arguments(0, true)),
               "Fatal error: the gallery list has no record at the user library's position");
  EXPECT_EQ(ids(arguments(0, false)), (Names{"one", "two", "recents"}));
}

TEST_F(GetGalleryListDeathTest, StopsWhenOnlyEmptyAlbumsFollowTheEmptyUserLibrary) {
  library.addCollection(smartAlbum("one", 201), {"p"});
  library.addCollection(smartAlbum("two", kVideos), {"v"});
  library.addCollection(userLibrary(), {});
  library.addCollection(smartAlbum("three", kFavorites), {});
  library.addCollection(userAlbum("album"), {"p"});
  EXPECT_DEATH(galleries(arguments(0, true)),
               "Fatal error: the gallery list has no record at the user library's position");
}

TEST_F(GetGalleryList, TouchesNeitherTheCacheNorTheLock) {
  library.addCollectionOfEverything(userLibrary());
  const auto watched = watchLock(plugin);
  galleries(arguments(0));
  EXPECT_EQ(watched->size(), 3u);
  for (const WatchedEvent& event : *watched) EXPECT_FALSE(event.lockIsHeld) << event.event;
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetGalleryList, IsEmptyWithoutAuthorisation) {
  library.addCollectionOfEverything(userLibrary());
  library.status = PHAuthorizationStatus::denied;
  EXPECT_EQ(galleries(arguments(0)), List{});
}

TEST_F(GetGalleryList, IsAnsweredOnTheMainQueue) {
  const RecordedReply reply = plugin.answer("getGalleryList", arguments(0));
  EXPECT_EQ(reply.answer().position.queue, &plugin.platform.dispatch.main);
}

}  // namespace
}  // namespace quorvin
