#include <gtest/gtest.h>

#include <atomic>
#include <limits>
#include <thread>

#include "core/queries/asset_record.h"
#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

using Names = std::vector<std::string>;
using Takes = RequiredArgument::Takes;

constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();

Map page(std::int64_t start, std::int64_t end, int sort = 2, int mediaType = 0,
         const char* collection = "g") {
  return {{"collectionId", collection},
          {"start", start},
          {"end", end},
          {"sort", sort},
          {"mediaType", mediaType}};
}

/// By date: a, p1, v, p2, then one of unknown type; in the album: p2, v, p1, a, u.
class GetAssetList : public PluginTest {
 protected:
  GetAssetList() {
    library.addAsset(audio("a", 10));
    library.addAsset(photo("p1", 20));
    library.addAsset(video("v", 30));
    library.addAsset(photo("p2", 40));
    library.addAsset(assetOf(PHAssetMediaType::unknown, "u", 50));
    library.addCollection(userAlbum("g"), {"p2", "v", "p1", "a", "u"});
    log.clear();
  }

  /// A gallery of as many photos, newest last.
  void addManyPhotos(int count) {
    Names members;
    for (int i = 0; i < count; ++i) {
      members.push_back("m" + std::to_string(i));
      library.addAsset(photo(members.back(), 100 + i));
    }
    library.addCollection(userAlbum("many"), members);
  }

  Names ids(const Map& call) {
    const Value reply = plugin.answer("getAssetList", call).value();
    if (reply.as<List>() == nullptr) return {"no list"};
    Names found;
    for (const Value& record : *reply.as<List>()) {
      found.emplace_back(find(*record.as<Map>(), "id")->text());
    }
    return found;
  }
};

TEST_F(GetAssetList, RefusesFaultyArguments) {
  expectArgumentFaults(plugin, "getAssetList", page(0, 3),
                       {{"collectionId", Takes::text},
                        {"start", Takes::integer},
                        {"end", Takes::integer},
                        {"sort", Takes::integer},
                        {"mediaType", Takes::integer}},
                       "Invalid arguments");
}

TEST_F(GetAssetList, RefusesAMediaTypeOutsideZeroToThree) {
  for (const int mediaType : {-1, 4, 1000}) {
    expectRefused(plugin, "getAssetList", page(0, 3, 0, mediaType), "Invalid arguments");
  }
}

TEST_F(GetAssetList, RefusesAPageThatHoldsNothing) {
  for (const auto& [start, end] :
       std::vector<std::pair<std::int64_t, std::int64_t>>{{0, 0},
                                                          {5, 5},
                                                          {6, 5},
                                                          {-10, 0},
                                                          {-10, -5},
                                                          {kSmallest, kSmallest},
                                                          {kLargest, kLargest}}) {
    expectRefused(plugin, "getAssetList", page(start, end), "Invalid arguments");
  }
}

TEST_F(GetAssetList, RepliesTheRecordsOfThePage) {
  const Value reply = plugin.answer("getAssetList", page(0, 1)).value();
  EXPECT_EQ(reply, Value(List{assetToMap(photo("p2", 40))}));
}

TEST_F(GetAssetList, ClampsANegativeStartToZero) {
  EXPECT_EQ(ids(page(-10, 3)), (Names{"p2", "v", "p1"}));
  EXPECT_EQ(ids(page(kSmallest, 1)), Names{"p2"});
}

TEST_F(GetAssetList, ClampsTheEndToWhatThereIs) {
  EXPECT_EQ(ids(page(3, 10)), (Names{"a", "u"}));
  EXPECT_EQ(ids(page(0, kLargest)), (Names{"p2", "v", "p1", "a", "u"}));
  EXPECT_EQ(ids(page(kSmallest, kLargest)), (Names{"p2", "v", "p1", "a", "u"}));
}

TEST_F(GetAssetList, IsEmptyBeyondTheEnd) {
  EXPECT_EQ(ids(page(5, 10)), Names{});
  EXPECT_EQ(ids(page(60, 80)), Names{});
  EXPECT_EQ(ids(page(kLargest - 1, kLargest)), Names{});
}

TEST_F(GetAssetList, CutsFortyFiveAssetsIntoPages) {
  addManyPhotos(45);
  const auto sizeOf = [this](int start, int end) {
    return ids(page(start, end, 0, 0, "many")).size();
  };
  EXPECT_EQ(sizeOf(0, 20), 20u);
  EXPECT_EQ(sizeOf(20, 40), 20u);
  EXPECT_EQ(sizeOf(40, 60), 5u);
  EXPECT_EQ(sizeOf(60, 80), 0u);
  EXPECT_EQ(ids(page(20, 22, 0, 0, "many")), (Names{"m24", "m23"}));
}

TEST_F(GetAssetList, OfAnUnknownGalleryIsEmpty) {
  EXPECT_EQ(ids(page(0, 3, 0, 0, "ABC")), Names{});
  EXPECT_EQ(log.eventsOf("fetch"), Names{"fetchAssetCollectionsWithLocalIdentifiers [ABC] none"});
}

TEST_F(GetAssetList, OfAnEmptyGalleryIsEmpty) {
  library.addCollection(userAlbum("empty"), {});
  EXPECT_EQ(ids(page(0, 3, 0, 0, "empty")), Names{});
}

TEST_F(GetAssetList, SortsByCreationDateOrNotAtAll) {
  EXPECT_EQ(ids(page(0, 9, 0)), (Names{"u", "p2", "v", "p1", "a"}));
  EXPECT_EQ(ids(page(0, 9, 1)), (Names{"a", "p1", "v", "p2", "u"}));
  for (const int sort : {2, -1, 7}) {
    EXPECT_EQ(ids(page(0, 9, sort)), (Names{"p2", "v", "p1", "a", "u"}));
  }
}

TEST_F(GetAssetList, HoldsEveryTypeUnderAllAndOneUnderAFilter) {
  EXPECT_EQ(ids(page(0, 9, 2, 0)), (Names{"p2", "v", "p1", "a", "u"}));
  EXPECT_EQ(ids(page(0, 9, 2, 1)), (Names{"p2", "p1"}));
  EXPECT_EQ(ids(page(0, 9, 2, 2)), Names{"v"});
  EXPECT_EQ(ids(page(0, 9, 2, 3)), Names{"a"});
}

TEST_F(GetAssetList, LooksTheGalleryUpThenFetchesItUpToTheEnd) {
  ids(page(1, 3, 0, 0));
  EXPECT_EQ(log.eventsOf("fetch"),
            (Names{"fetchAssetCollectionsWithLocalIdentifiers [g] none",
                   "fetchAssetsInAssetCollection g {sort creationDate descending, limit 3}"}));
}

TEST_F(GetAssetList, FetchesUnderTheFiltersPredicate) {
  for (const std::string type : {"1", "2", "3"}) {
    log.clear();
    ids(page(0, 3, 1, std::stoi(type)));
    EXPECT_EQ(log.eventsOf("fetchAssetsIn"),
              Names{R"(fetchAssetsInAssetCollection g {predicate "mediaType = %d" )" + type +
                    ", sort creationDate ascending, limit 3}"});
  }
}

TEST_F(GetAssetList, FetchesWithNothingButTheLimitUnderAllInTheGallerysOrder) {
  ids(page(0, 3));
  EXPECT_EQ(log.eventsOf("fetchAssetsIn"), Names{"fetchAssetsInAssetCollection g {limit 3}"});
  log.clear();
  ids(page(0, kLargest));
  EXPECT_EQ(log.eventsOf("fetchAssetsIn"),
            Names{"fetchAssetsInAssetCollection g {limit 9223372036854775807}"});
}

TEST_F(GetAssetList, LoadsThePageAlone) {
  addManyPhotos(45);
  std::size_t loaded = 0;
  library.duringLoad = [&loaded](std::size_t count) { loaded += count; };
  ids(page(20, 30, 0, 0, "many"));
  EXPECT_EQ(loaded, 10u);
}

TEST_F(GetAssetList, LoadsNothingForAPageBeyondTheEnd) {
  bool loaded = false;
  library.duringLoad = [&loaded](std::size_t) { loaded = true; };
  EXPECT_EQ(ids(page(5, 10)), Names{});
  EXPECT_EQ(ids(page(60, 80)), Names{});
  EXPECT_FALSE(loaded);
}

TEST_F(GetAssetList, CachesThePageAlone) {
  ids(page(1, 3));
  EXPECT_EQ(plugin.manager().cachedIdentifiers(), (Names{"p1", "v"}));
  log.clear();
  EXPECT_NE(plugin.manager().getPHAsset("v"), nullptr);
  EXPECT_EQ(log.count("fetch"), 0u);
}

TEST_F(GetAssetList, AddsEachPageToTheCache) {
  addManyPhotos(45);
  for (int start = 0; start < 45; start += 20) ids(page(start, start + 20, 0, 0, "many"));
  EXPECT_EQ(plugin.manager().cachedIdentifiers().size(), 45u);
  ids(page(60, 80, 0, 0, "many"));
  EXPECT_EQ(plugin.manager().cachedIdentifiers().size(), 45u);
}

TEST_F(GetAssetList, ReplacesCacheEntriesWhenAPageIsReadAgain) {
  ids(page(0, 9));
  library.removeAsset("v");
  PHAsset edited = video("v");
  edited.pixelWidth = 99;
  library.addAsset(edited);
  library.addCollection(userAlbum("again"), {"v"});
  EXPECT_EQ(ids(page(0, 9, 2, 0, "again")), Names{"v"});
  EXPECT_EQ(plugin.manager().cachedAsset("v")->pixelWidth, 99);
  EXPECT_EQ(plugin.manager().cachedIdentifiers().size(), 5u);
}

TEST_F(GetAssetList, LeavesTheCacheAloneWhenItIsEmpty) {
  ids(page(60, 80));
  ids(page(0, 3, 0, 0, "ABC"));
  EXPECT_TRUE(plugin.manager().cachedIdentifiers().empty());
}

TEST_F(GetAssetList, TakesTheLockOnlyWhenThePageIsLoaded) {
  const auto watched = watchLock(plugin);
  ids(page(0, 3));
  ASSERT_GE(watched->size(), 3u);
  for (const WatchedEvent& event : *watched) EXPECT_FALSE(event.lockIsHeld) << event.event;
  EXPECT_FALSE(plugin.manager().lockIsHeld());
}

TEST_F(GetAssetList, StoresThePageUnderOneHoldOfTheLock) {
  constexpr int kCount = 100;
  addManyPhotos(kCount);
  // Entries that tell when they are replaced. From the first on another thread waits for the lock.
  std::atomic<int> replaced = 0;
  std::atomic<int> replacedBeforeTheOther = -1;
  bool wasReleased = false;
  std::thread other;
  const auto tell = [&, manager = plugin.manager()](const PHAsset* asset) {
    delete asset;
    if (++replaced == 1) {
      other = std::thread([&, manager] {
        EXPECT_EQ(manager.cachedIdentifiers().size(), static_cast<std::size_t>(kCount));
        replacedBeforeTheOther = replaced.load();
      });
      while (!manager.lockIsAwaited() && replacedBeforeTheOther < 0) std::this_thread::yield();
    }
    // One that is taken anew, before the other thread had it, is not awaited for a moment.
    wasReleased = wasReleased || !manager.lockIsAwaited();
  };
  for (int i = 0; i < kCount; ++i) {
    plugin.manager().cache({new PHAsset(photo("m" + std::to_string(i))), tell});
  }
  EXPECT_EQ(ids(page(0, kCount, 0, 0, "many")).size(), static_cast<std::size_t>(kCount));
  ASSERT_TRUE(other.joinable());
  other.join();
  EXPECT_EQ(replacedBeforeTheOther, kCount);
  EXPECT_FALSE(wasReleased);
}

TEST_F(GetAssetList, LeavesOutHiddenAssetsAndUnpickedBurstMembers) {
  PHAsset hidden = photo("hidden");
  hidden.isHidden = true;
  library.addAsset(hidden);
  library.addAsset(burstMember("representative", "burst", true));
  library.addAsset(burstMember("member", "burst"));
  library.addCollection(userAlbum("mixed"), {"hidden", "member", "representative"});
  EXPECT_EQ(ids(page(0, 9, 2, 0, "mixed")), Names{"representative"});
}

using GetAssetListDeathTest = GetAssetList;

TEST_F(GetAssetListDeathTest, StopsAtAPageWithADateBeyondItsRange) {
  library.addAsset(photo("far", 1e300));
  library.addCollection(userAlbum("dates"), {"p1", "far"});
  EXPECT_EQ(ids(page(0, 1, 2, 0, "dates")), Names{"p1"});
  EXPECT_DEATH(ids(page(0, 2, 2, 0, "dates")),
               "Fatal error: a date is out of the range of milliseconds in 64 bits");
}

}  // namespace
}  // namespace quorvin
