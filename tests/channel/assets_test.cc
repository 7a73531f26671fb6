// Pages, single assets, bursts and file names of the imported library.
#include <algorithm>
#include <limits>

#include "testing/engine/channel.h"

namespace quorvin {
namespace {

class Assets : public testing::Test {
 protected:
  Channel channel;

  Value info(const std::string& name) {
    return channel.result("getAssetInfo", Map{{"assetId", channel.asset(name)}});
  }
};

std::vector<std::string> ids(const List& records) {
  std::vector<std::string> all;
  for (const Value& record : records) all.push_back(textAt(record, "id"));
  return all;
}

TEST_F(Assets, PagesFollowOneAnotherWithoutGapOrRepetition) {
  const std::string recents = channel.gallery("Recents");
  const auto whole = ids(channel.page(recents, 0, 1000, kNewestFirst));
  EXPECT_EQ(whole.size(), 31u);
  std::vector<std::string> pages;
  for (int start = 0; start < 42; start += 7) {
    const auto part = ids(channel.page(recents, start, start + 7, kNewestFirst));
    pages.insert(pages.end(), part.begin(), part.end());
  }
  EXPECT_EQ(pages, whole);
}

TEST_F(Assets, APageMayEndWhereIntegersDo) {
  const Value all =
      channel.result("getAssetList", Map{{"collectionId", channel.gallery("Recents")},
                                         {"start", std::numeric_limits<std::int64_t>::min()},
                                         {"end", std::numeric_limits<std::int64_t>::max()},
                                         {"sort", std::numeric_limits<std::int64_t>::min()},
                                         {"mediaType", kAll}});
  ASSERT_NE(all.as<List>(), nullptr);
  EXPECT_EQ(all.as<List>()->size(), 31u);
}

TEST_F(Assets, AnAlbumListsItsOwnAlone) {
  const List holidays = channel.page(channel.gallery("Holidays"), 0, 10, 2);
  ASSERT_EQ(holidays.size(), 2u);
  const auto assets = channel.assetsByName();
  EXPECT_NE(ids(holidays)[0], ids(holidays)[1]);
  EXPECT_TRUE(std::ranges::count(ids(holidays), assets.at("PAIR_STILL.jpg")) == 1);
}

TEST_F(Assets, ARecordTellsWhatTheMetadataSay) {
  const Value photo = info("IMG_0002.jpg");
  EXPECT_EQ(at(photo, "mediaType"), Value(1));
  EXPECT_EQ(at(photo, "width"), Value(1200));
  EXPECT_EQ(at(photo, "height"), Value(1600));
  // 18:31:00.5 two hours east of UTC.
  EXPECT_EQ(at(photo, "creationDate"), Value(std::int64_t{1689352260500}));
  EXPECT_EQ(at(photo, "duration"), Value(0.0));
  EXPECT_EQ(at(photo, "burstIdentifier"), Value(""));
  EXPECT_EQ(at(photo, "isLivePhoto"), Value(false));
  EXPECT_EQ(photo.as<Map>()->size(), 13u);

  const Value video = info("MOVIE.mov");
  EXPECT_EQ(at(video, "mediaType"), Value(2));
  EXPECT_EQ(at(video, "creationDate"), Value(std::int64_t{1689330030000}));
  EXPECT_NEAR(*at(video, "duration").as<double>(), 2000, 60);

  const Value audio = info("memo.m4a");
  EXPECT_EQ(at(audio, "mediaType"), Value(3));
  EXPECT_EQ(at(audio, "width"), Value(0));
  EXPECT_NEAR(*at(audio, "duration").as<double>(), 2000, 60);
}

TEST_F(Assets, SizesAreUpright) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const Value record = info("orientation_" + std::to_string(orientation) + ".jpg");
    EXPECT_EQ(at(record, "width"), Value(orientation < 5 ? 320 : 240)) << orientation;
    EXPECT_EQ(at(record, "height"), Value(orientation < 5 ? 240 : 320)) << orientation;
  }
  EXPECT_EQ(at(info("TURNED.mp4"), "width"), Value(240));
}

TEST_F(Assets, StillsAndMoviesOfOneShotAreLivePhotos) {
  const auto assets = channel.assetsByName();
  EXPECT_EQ(at(info("IMG_0011.HEIC"), "isLivePhoto"), Value(true)) << "by name";
  EXPECT_EQ(at(info("PAIR_STILL.jpg"), "isLivePhoto"), Value(true)) << "by content identifier";
  EXPECT_FALSE(assets.contains("IMG_0011.MOV"));
  EXPECT_FALSE(assets.contains("PAIR_MOTION.MOV"));
}

TEST_F(Assets, ABurstIsListedByItsPrimaryAndOpensIntoItsMembers) {
  const auto assets = channel.assetsByName();
  EXPECT_FALSE(assets.contains("BURST_001.jpg"));
  ASSERT_TRUE(assets.contains("BURST_003.jpg"));
  const Value burst =
      channel.result("getBurstAssetList", Map{{"assetId", assets.at("BURST_003.jpg")}});
  ASSERT_EQ(burst.as<List>()->size(), 5u);
  for (std::size_t i = 0; i < 5; ++i) {
    const Value& member = burst.as<List>()->at(i);
    EXPECT_EQ(textAt(member, "burstIdentifier"), "burst-of-five");
    EXPECT_EQ(at(member, "representsBurst"), Value(i == 2));
    EXPECT_EQ(channel.result("getAssetOriginalFilename", Map{{"assetId", textAt(member, "id")}}),
              Value("BURST_00" + std::to_string(i + 1) + ".jpg"));
  }
  const std::string member = textAt(burst.as<List>()->at(0), "id");
  EXPECT_EQ(channel.error("getBurstAssetList", Map{{"assetId", member}}).message,
            "Asset not found id = " + member);
}

TEST_F(Assets, TwoFilesOfOneNameAreTwoAssets) {
  int count = 0;
  for (const Value& record : channel.page(channel.gallery("Recents"), 0, 1000, kNewestFirst)) {
    const Value name =
        channel.result("getAssetOriginalFilename", Map{{"assetId", textAt(record, "id")}});
    count += name == Value("IMG_0001.jpg") ? 1 : 0;
  }
  EXPECT_EQ(count, 2);
}

}  // namespace
}  // namespace quorvin
