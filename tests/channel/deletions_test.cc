// Assets that are deleted through the channel.
#include <algorithm>

#include "tests/channel/changes_fixture.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class Deletions : public ChangesFixture {
 protected:
  static bool contains(const Names& names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
  }
};

TEST_F(Deletions, ADeletedAssetLeavesEveryGalleryAndCountAtOnce) {
  const std::string album = gallery("Holidays");
  const std::string videos = gallery("Videos");
  const std::string id =
      textAt(save("saveVideo", incoming(kGoodMedia / "CLIP.mp4", "a.mp4"), album), "id");
  const auto everywhere = [&] {
    return std::vector<std::int64_t>{total(album), total(videos), total(gallery("Recents"))};
  };
  const auto before = everywhere();
  EXPECT_TRUE(contains(listed(album), id));
  remove({id});
  EXPECT_EQ(everywhere(), (std::vector{before[0] - 1, before[1] - 1, before[2] - 1}));
  for (const std::string& each : {album, videos, gallery("Recents")}) {
    EXPECT_FALSE(contains(listed(each), id));
  }
}

TEST_F(Deletions, ADeletedAssetStaysCachedUntilTheCacheIsCleared) {
  const std::string id = asset("IMG_0002.jpg");
  const Value record = result("getAssetInfo", Map{{"assetId", id}});
  remove({id});
  EXPECT_EQ(at(result("getAssetInfo", Map{{"assetId", id}}), "id"), Value(id));
  result("clearAllCache");
  EXPECT_EQ(infoError(id), (FlutterError{"Error", "Asset not found id = " + id, Value()}));
}

TEST_F(Deletions, WhatACachedDeletedAssetHeldIsNotExported) {
  const std::string id = asset("IMG_0002.jpg");
  remove({id});
  EXPECT_EQ(error("getImageData", imageData(id, false)).message, "Failed to load image data");
  EXPECT_EQ(error("getImageUrl", imageFile(id)).message, "No photo resource found");
}

TEST_F(Deletions, SeveralAssetsGoInOneCall) {
  auto assets = assetsByName();
  const std::string photo = assets.at("IMG_0002.jpg");
  const std::string movie = assets.at("MOVIE.mov");
  const std::string sound = assets.at("memo.m4a");
  remove({movie, photo, sound, movie});
  for (const char* name : {"IMG_0002.jpg", "MOVIE.mov", "memo.m4a"}) assets.erase(name);
  EXPECT_EQ(assetsByName(), assets);
}

TEST_F(Deletions, AllAssetsCanGo) {
  Names all = recents(kOldestFirst);
  remove(all);
  while (!(all = recents()).empty()) remove(all);
  EXPECT_EQ(total(gallery("Recents")), 0);
  for (const Value& each : galleries(kAll)) {
    EXPECT_EQ(integerAt(at(each, "assetCount"), "totalCount"), 0) << textAt(each, "title");
  }
}

TEST_F(Deletions, UnknownAndNoIdentifiersDeleteNothing) {
  const Names before = everything();
  remove({});
  remove({"unknown", "", "'; DROP TABLE assets; --"});
  remove({gallery("Holidays")});
  EXPECT_EQ(everything(), before);
}

TEST_F(Deletions, UnknownIdentifiersDoNotKeepTheOthers) {
  const std::string id = asset("IMG_0002.jpg");
  remove({"unknown", id});
  EXPECT_FALSE(contains(recents(), id));
}

TEST_F(Deletions, ADeletionTwiceIsNoError) {
  const std::string id = asset("IMG_0002.jpg");
  remove({id});
  const Names after = everything();
  remove({id});
  EXPECT_EQ(everything(), after);
}

TEST_F(Deletions, AnotherEngineSeesItAtOnceAndKeepsWhatItHasCached) {
  const std::string id = asset("IMG_0002.jpg");
  const EnginePointer other = openLibrary(library());
  const auto theirTotal = [&] {
    const Value list = EngineFixture::result(other.get(), "getGalleryList",
                                             Map{{"withAllPhotos", true},
                                                 {"filterEmptyAsset", false},
                                                 {"withSmartAlbum", true},
                                                 {"mediaType", 0}});
    std::int64_t sum = 0;
    for (const Value& each : *list.as<List>()) {
      if (textAt(each, "title") == "Recents") {
        sum = integerAt(at(each, "assetCount"), "totalCount");
      }
    }
    return sum;
  };
  const auto before = theirTotal();
  EngineFixture::result(other.get(), "getAssetList",
                        Map{{"collectionId", gallery("Recents")},
                            {"start", 0},
                            {"end", 1000},
                            {"sort", 0},
                            {"mediaType", 0}});
  remove({id});
  EXPECT_EQ(theirTotal(), before - 1);
  EXPECT_EQ(at(EngineFixture::result(other.get(), "getAssetInfo", Map{{"assetId", id}}), "id"),
            Value(id));
  EngineFixture::result(other.get(), "clearAllCache");
  const Answer& answer = call(other.get(), "getAssetInfo", Map{{"assetId", id}});
  await(other.get(), answer);
  EXPECT_EQ(answer.message.at(0), 1);
}

TEST_F(Deletions, ABurstIsRepresentedByAnotherOnceItsOwnIsDeleted) {
  const auto before = assetsByName();
  const std::string primary = before.at("BURST_003.jpg");
  remove({primary});
  const auto after = assetsByName();
  EXPECT_EQ(after.size(), before.size());
  ASSERT_TRUE(after.contains("BURST_001.jpg")) << "the first by date";
  result("clearAllCache");
  const Value members = result("getBurstAssetList", Map{{"assetId", after.at("BURST_001.jpg")}});
  ASSERT_NE(members.as<List>(), nullptr);
  ASSERT_EQ(members.as<List>()->size(), 4u);
  for (const Value& member : *members.as<List>()) {
    const std::string id = textAt(member, "id");
    EXPECT_NE(id, primary);
    EXPECT_EQ(at(member, "representsBurst"), Value(id == after.at("BURST_001.jpg")));
  }
}

TEST_F(Deletions, AMemberOfABurstGoesAlone) {
  const std::string primary = asset("BURST_003.jpg");
  const Value members = result("getBurstAssetList", Map{{"assetId", primary}});
  remove({textAt(members.as<List>()->front(), "id")});
  result("clearAllCache");
  EXPECT_TRUE(contains(recents(), primary));
  EXPECT_EQ(result("getBurstAssetList", Map{{"assetId", primary}}).as<List>()->size(), 4u);
}

TEST_F(Deletions, ALivePhotoGoesWithItsMotionPart) {
  const std::string id = asset("IMG_0011.HEIC");
  const Names kept = originals();
  const auto before = total(gallery("Recents"));
  remove({id});
  EXPECT_EQ(total(gallery("Recents")), before - 1);
  EXPECT_EQ(originals(), kept) << "it can be restored";
  result("clearAllCache");
  EXPECT_EQ(error("getLivePhotoUrl", livePhotoFile(id)).message, "Asset not found id = " + id);
}

TEST_F(Deletions, ThePathOfAVideoGivenInPlaceStaysGood) {
  const std::string id = asset("MOVIE.mov");
  const Value inPlace = result("getVideoUrl", videoFile(id, Format::original));
  remove({id});
  EXPECT_TRUE(bytesOf(textAt(inPlace, "url")) == bytesOf(kGoodMedia / "MOVIE.mov"));
}

TEST_F(Deletions, OutliveTheEngine) {
  const std::string id = asset("IMG_0002.jpg");
  remove({id});
  use(library(), temporary());
  EXPECT_FALSE(contains(recents(), id));
  EXPECT_EQ(infoError(id).message, "Asset not found id = " + id);
}

}  // namespace
}  // namespace quorvin
