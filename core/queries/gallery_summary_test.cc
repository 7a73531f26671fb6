#include <gtest/gtest.h>

#include <limits>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;
using Takes = RequiredArgument::Takes;

constexpr const char* kCount = "getGalleryAssetCount";
constexpr const char* kFirst = "getGalleryFirstAssetId";

Map arguments(const char* collection, int sort, int mediaType) {
  return {{"collectionId", collection}, {"sort", sort}, {"mediaType", mediaType}};
}

Value counts(int photos, int videos, int audios, int total, const char* first) {
  return Map{{"photoCount", photos},
             {"videoCount", videos},
             {"audioCount", audios},
             {"totalCount", total},
             {"firstAssetId", first}};
}

/// Two images, a video and an audio item. By date: audio, p1, v, p2; in the album: p2, v, p1,
/// audio.
class GallerySummary : public PluginTest {
 protected:
  GallerySummary() {
    library.addAsset(audio("a", 10));
    library.addAsset(photo("p1", 20));
    library.addAsset(video("v", 30));
    library.addAsset(photo("p2", 40));
    library.addCollection(userAlbum("g"), {"p2", "v", "p1", "a"});
    library.addCollection(userAlbum("empty"), {});
    log.clear();
  }

  Value value(const char* method, const Map& call) { return plugin.answer(method, call).value(); }

  FlutterError error(const char* method, const Map& call) {
    return plugin.answer(method, call).error();
  }
};

using GetGalleryAssetCount = GallerySummary;
using GetGalleryFirstAssetId = GallerySummary;

TEST_F(GallerySummary, RefusesFaultyArguments) {
  for (const char* method : {kCount, kFirst}) {
    expectArgumentFaults(
        plugin, method, arguments("g", 0, 0),
        {{"collectionId", Takes::text}, {"sort", Takes::integer}, {"mediaType", Takes::integer}},
        "Invalid arguments");
  }
}

TEST_F(GallerySummary, RefusesAMediaTypeOutsideZeroToThree) {
  for (const char* method : {kCount, kFirst}) {
    for (const int mediaType : {-1, 4, 1000}) {
      expectRefused(plugin, method, arguments("g", 0, mediaType), "Invalid arguments");
    }
  }
}

TEST_F(GallerySummary, ReportsAnUnknownGalleryByTheIdentifierGiven) {
  for (const char* method : {kCount, kFirst}) {
    for (const int mediaType : {0, 1}) {
      log.clear();
      EXPECT_EQ(error(method, arguments("ABC", 0, mediaType)),
                (FlutterError{"Error", "Gallery not found id = ABC", Value()}));
      EXPECT_EQ(log.eventsOf("fetch"),
                Names{"fetchAssetCollectionsWithLocalIdentifiers [ABC] none"});
    }
    EXPECT_EQ(error(method, arguments("", 0, 0)).message, "Gallery not found id = ");
    EXPECT_EQ(error(method, arguments(" \"x\"", 0, 0)).message, "Gallery not found id =  \"x\"");
  }
}

TEST_F(GetGalleryAssetCount, CountsImagesAndVideosApartUnderAll) {
  EXPECT_EQ(value(kCount, arguments("g", 0, 0)), counts(2, 1, 0, 3, "p2"));
}

TEST_F(GetGalleryAssetCount, MayNameAnAudioItemAsTheFirstUnderAll) {
  EXPECT_EQ(value(kCount, arguments("g", 1, 0)), counts(2, 1, 0, 3, "a"));
}

TEST_F(GetGalleryAssetCount, NamesAnAudioItemEvenWhenItCountsNothing) {
  library.addCollection(userAlbum("sounds"), {"a"});
  EXPECT_EQ(value(kCount, arguments("sounds", 0, 0)), counts(0, 0, 0, 0, "a"));
}

TEST_F(GetGalleryAssetCount, CountsOneTypeUnderItsFilter) {
  EXPECT_EQ(value(kCount, arguments("g", 0, 1)), counts(2, 0, 0, 2, "p2"));
  EXPECT_EQ(value(kCount, arguments("g", 1, 1)), counts(2, 0, 0, 2, "p1"));
  EXPECT_EQ(value(kCount, arguments("g", 0, 2)), counts(0, 1, 0, 1, "v"));
  EXPECT_EQ(value(kCount, arguments("g", 0, 3)), counts(0, 0, 1, 1, "a"));
}

TEST_F(GetGalleryAssetCount, OfAnEmptyGalleryIsNoError) {
  for (const int mediaType : {0, 1, 2, 3}) {
    EXPECT_EQ(value(kCount, arguments("empty", 0, mediaType)), counts(0, 0, 0, 0, ""));
  }
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetGalleryAssetCount, AsksForTheFirstThenForImagesThenForVideosUnderAll) {
  value(kCount, arguments("g", 0, 0));
  EXPECT_EQ(log.eventsOf("fetch"),
            (Names{"fetchAssetCollectionsWithLocalIdentifiers [g] none",
                   "fetchAssetsInAssetCollection g {sort creationDate descending, limit 1}",
                   R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d" 1})",
                   R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d" 2})"}));
}

TEST_F(GetGalleryAssetCount, AsksOnceAndWithoutALimitUnderOneType) {
  for (const std::string type : {"1", "2", "3"}) {
    log.clear();
    value(kCount, arguments("g", 1, std::stoi(type)));
    EXPECT_EQ(log.eventsOf("fetchAssetsIn"),
              Names{R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d" )" + type +
                    ", sort creationDate ascending}"});
  }
}

TEST_F(GetGalleryAssetCount, KeepsTheGallerysOwnOrderForAnyOtherSort) {
  for (const int sort : {7, 2, -1}) {
    log.clear();
    EXPECT_EQ(value(kCount, arguments("g", sort, 0)), counts(2, 1, 0, 3, "p2"));
    EXPECT_EQ(log.count("fetchAssetsInAssetCollection g {limit 1}"), 1u);
    log.clear();
    value(kCount, arguments("g", sort, 1));
    EXPECT_EQ(log.count(R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d" 1})"), 1u);
  }
}

TEST_F(GetGalleryAssetCount, LoadsTheFirstAssetOnly) {
  std::size_t loaded = 0;
  library.duringLoad = [&loaded](std::size_t count) { loaded += count; };
  value(kCount, arguments("g", 0, 1));
  EXPECT_EQ(loaded, 1u);
  value(kCount, arguments("g", 0, 0));
  EXPECT_EQ(loaded, 2u);
}

TEST_F(GetGalleryAssetCount, CachesTheFirstAssetAlone) {
  value(kCount, arguments("g", 0, 2));
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), Names{"v"});
  log.clear();
  EXPECT_NE(plugin.manager().getPHAsset("v"), nullptr);
  EXPECT_EQ(log.count("fetch"), 0u);
}

TEST_F(GetGalleryAssetCount, ReplacesAnEarlierCacheEntryAndKeepsTheOthers) {
  value(kCount, arguments("g", 0, 2));
  value(kCount, arguments("g", 0, 1));
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), (Names{"p2", "v"}));

  library.removeAsset("v");
  PHAsset edited = video("v", 30);
  edited.pixelWidth = 99;
  library.addAsset(edited);
  library.addCollection(userAlbum("again"), {"v"});
  value(kCount, arguments("again", 0, 0));
  EXPECT_EQ(plugin.manager().cachedAsset("v")->pixelWidth, 99);
}

TEST_F(GetGalleryAssetCount, HoldsTheLockWhenItCaches) {
  const auto held = watchReplacement(plugin, "a");
  plugin.answer(kCount, arguments("g", 1, 0));
  EXPECT_EQ(*held, std::vector<bool>{true});
}

TEST_F(GetGalleryAssetCount, HoldsTheLockDuringNoFetch) {
  const auto watched = watchLock(plugin);
  value(kCount, arguments("g", 0, 0));
  value(kCount, arguments("g", 0, 1));
  EXPECT_GE(watched->size(), 6u);
  for (const WatchedEvent& event : *watched) EXPECT_FALSE(event.lockIsHeld) << event.event;
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(GetGalleryAssetCount, CarriesTheLargestSumThereIs) {
  library.pretendedCount = [](const std::string& event) -> std::optional<std::size_t> {
    if (event.ends_with("%d\" 1}")) return std::numeric_limits<std::int64_t>::max() - 1;
    return std::nullopt;
  };
  const Value reply = value(kCount, arguments("g", 0, 0));
  EXPECT_EQ(*find(*reply.as<Map>(), "totalCount"), Value(std::numeric_limits<std::int64_t>::max()));
}

using GetGalleryAssetCountDeathTest = GallerySummary;

TEST_F(GetGalleryAssetCountDeathTest, StopsWhenTheSumOverflows) {
  library.pretendedCount = [](const std::string& event) -> std::optional<std::size_t> {
    if (event.ends_with("%d\" 1}")) return std::numeric_limits<std::int64_t>::max();
    return std::nullopt;
  };
  EXPECT_DEATH(value(kCount, arguments("g", 0, 0)),
               "Fatal error: the gallery's asset counts overflow their sum");
}

TEST_F(GetGalleryFirstAssetId, RepliesTheBareIdentifier) {
  EXPECT_EQ(value(kFirst, arguments("g", 0, 0)), Value("p2"));
  EXPECT_EQ(value(kFirst, arguments("g", 1, 1)), Value("p1"));
  EXPECT_EQ(value(kFirst, arguments("g", 0, 2)), Value("v"));
  EXPECT_EQ(value(kFirst, arguments("g", 0, 3)), Value("a"));
}

TEST_F(GetGalleryFirstAssetId, NamesNoAudioItemUnderAll) {
  EXPECT_EQ(value(kFirst, arguments("g", 1, 0)), Value("p1"));
}

TEST_F(GetGalleryFirstAssetId, AsksForOneImageOrVideoUnderAll) {
  value(kFirst, arguments("g", 0, 0));
  EXPECT_EQ(
      log.eventsOf("fetch"),
      (Names{
          "fetchAssetCollectionsWithLocalIdentifiers [g] none",
          R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d || mediaType = %d " 1 2, )"
          "sort creationDate descending, limit 1}"}));
}

TEST_F(GetGalleryFirstAssetId, AsksForOneOfTheFiltersType) {
  for (const std::string type : {"1", "2", "3"}) {
    log.clear();
    value(kFirst, arguments("g", 1, std::stoi(type)));
    EXPECT_EQ(log.eventsOf("fetchAssetsIn"),
              Names{R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d" )" + type +
                    ", sort creationDate ascending, limit 1}"});
  }
}

TEST_F(GetGalleryFirstAssetId, KeepsTheGallerysOwnOrderForAnyOtherSort) {
  EXPECT_EQ(value(kFirst, arguments("g", 7, 0)), Value("p2"));
  EXPECT_EQ(
      log.count(
          R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d || mediaType = %d " 1 2, limit 1})"),
      1u);
}

TEST_F(GetGalleryFirstAssetId, ReportsAGalleryWithoutAMatch) {
  EXPECT_EQ(error(kFirst, arguments("empty", 0, 0)),
            (FlutterError{"Error", "Asset not found for gallery id = empty", Value()}));
  library.addCollection(userAlbum("sounds"), {"a"});
  EXPECT_EQ(error(kFirst, arguments("sounds", 0, 0)).message,
            "Asset not found for gallery id = sounds");
  EXPECT_EQ(error(kFirst, arguments("sounds", 0, 1)).message,
            "Asset not found for gallery id = sounds");
}

TEST_F(GetGalleryFirstAssetId, CachesNothing) {
  value(kFirst, arguments("g", 0, 0));
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
  log.clear();
  EXPECT_NE(plugin.manager().getPHAsset("p2"), nullptr);
  EXPECT_EQ(log.count("fetchAssetsWithLocalIdentifiers"), 1u);
}

}  // namespace
}  // namespace quorvin
