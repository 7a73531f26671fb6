// Assets that are deleted through the channel.
#include <algorithm>

#include "testing/engine/library_copy.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class Deletions : public testing::Test {
 protected:
  LibraryCopy library;

  static bool contains(const Names& names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
  }
};

TEST_F(Deletions, ADeletedAssetLeavesEveryGalleryAndCountAtOnce) {
  const std::string album = library.channel.gallery("Holidays");
  const std::string videos = library.channel.gallery("Videos");
  const std::string id = textAt(
      library.save("saveVideo", library.incoming(kGoodMedia / "CLIP.mp4", "a.mp4"), album), "id");
  const auto everywhere = [&] {
    return std::vector<std::int64_t>{library.total(album), library.total(videos),
                                     library.total(library.channel.gallery("Recents"))};
  };
  const auto before = everywhere();
  EXPECT_TRUE(contains(library.listed(album), id));
  library.remove({id});
  EXPECT_EQ(everywhere(), (std::vector{before[0] - 1, before[1] - 1, before[2] - 1}));
  for (const std::string& each : {album, videos, library.channel.gallery("Recents")}) {
    EXPECT_FALSE(contains(library.listed(each), id));
  }
}

TEST_F(Deletions, ADeletedAssetStaysCachedUntilTheCacheIsCleared) {
  const std::string id = library.channel.asset("IMG_0002.jpg");
  const Value record = library.channel.result("getAssetInfo", Map{{"assetId", id}});
  library.remove({id});
  EXPECT_EQ(at(library.channel.result("getAssetInfo", Map{{"assetId", id}}), "id"), Value(id));
  library.channel.result("clearAllCache");
  EXPECT_EQ(library.infoError(id), (FlutterError{"Error", "Asset not found id = " + id, Value()}));
}

TEST_F(Deletions, WhatACachedDeletedAssetHeldIsNotExported) {
  const std::string id = library.channel.asset("IMG_0002.jpg");
  library.remove({id});
  EXPECT_EQ(library.channel.error("getImageData", imageData(id, false)).message,
            "Failed to load image data");
  EXPECT_EQ(library.channel.error("getImageUrl", imageFile(id)).message, "No photo resource found");
}

TEST_F(Deletions, SeveralAssetsGoInOneCall) {
  auto assets = library.channel.assetsByName();
  const std::string photo = assets.at("IMG_0002.jpg");
  const std::string movie = assets.at("MOVIE.mov");
  const std::string sound = assets.at("memo.m4a");
  library.remove({movie, photo, sound, movie});
  for (const char* name : {"IMG_0002.jpg", "MOVIE.mov", "memo.m4a"}) assets.erase(name);
  EXPECT_EQ(library.channel.assetsByName(), assets);
}

TEST_F(Deletions, AllAssetsCanGo) {
  Names all = library.recents(kOldestFirst);
  library.remove(all);
  while (!(all = library.recents()).empty()) library.remove(all);
  EXPECT_EQ(library.total(library.channel.gallery("Recents")), 0);
  for (const Value& each : library.channel.galleries(kAll)) {
    EXPECT_EQ(integerAt(at(each, "assetCount"), "totalCount"), 0) << textAt(each, "title");
  }
}

TEST_F(Deletions, UnknownAndNoIdentifiersDeleteNothing) {
  const Names before = library.everything();
  library.remove({});
  library.remove({"unknown", "", "'; DROP TABLE assets; --"});
  library.remove({library.channel.gallery("Holidays")});
  EXPECT_EQ(library.everything(), before);
}

TEST_F(Deletions, AnotherEngineSeesItAtOnceAndKeepsWhatItHasCached) {
  const std::string id = library.channel.asset("IMG_0002.jpg");
  const EnginePointer other = library.channel.engines.openLibrary(library.path());
  const auto theirTotal = [&] {
    const Value list = library.channel.engines.result(other.get(), "getGalleryList",
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
  library.channel.engines.result(other.get(), "getAssetList",
                                 Map{{"collectionId", library.channel.gallery("Recents")},
                                     {"start", 0},
                                     {"end", 1000},
                                     {"sort", 0},
                                     {"mediaType", 0}});
  library.remove({id});
  EXPECT_EQ(theirTotal(), before - 1);
  EXPECT_EQ(
      at(library.channel.engines.result(other.get(), "getAssetInfo", Map{{"assetId", id}}), "id"),
      Value(id));
  library.channel.engines.result(other.get(), "clearAllCache");
  const Answer& answer =
      library.channel.engines.call(other.get(), "getAssetInfo", Map{{"assetId", id}});
  library.channel.engines.await(other.get(), answer);
  EXPECT_EQ(answer.message.at(0), 1);
}

TEST_F(Deletions, AMemberOfABurstGoesAlone) {
  const std::string primary = library.channel.asset("BURST_003.jpg");
  const Value members = library.channel.result("getBurstAssetList", Map{{"assetId", primary}});
  library.remove({textAt(members.as<List>()->front(), "id")});
  library.channel.result("clearAllCache");
  EXPECT_TRUE(contains(library.recents(), primary));
  EXPECT_EQ(
      library.channel.result("getBurstAssetList", Map{{"assetId", primary}}).as<List>()->size(),
      4u);
}

TEST_F(Deletions, ALivePhotoGoesWithItsMotionPart) {
  const std::string id = library.channel.asset("IMG_0011.HEIC");
  const Names kept = library.originals();
  const auto before = library.total(library.channel.gallery("Recents"));
  library.remove({id});
  EXPECT_EQ(library.total(library.channel.gallery("Recents")), before - 1);
  EXPECT_EQ(library.originals(), kept) << "it can be restored";
  library.channel.result("clearAllCache");
  EXPECT_EQ(library.channel.error("getLivePhotoUrl", livePhotoFile(id)).message,
            "Asset not found id = " + id);
}

TEST_F(Deletions, ThePathOfAVideoGivenInPlaceStaysGood) {
  const std::string id = library.channel.asset("MOVIE.mov");
  const Value inPlace = library.channel.result("getVideoUrl", videoFile(id, Format::original));
  library.remove({id});
  EXPECT_TRUE(bytesOf(textAt(inPlace, "url")) == bytesOf(kGoodMedia / "MOVIE.mov"));
}

TEST_F(Deletions, OutliveTheEngine) {
  const std::string id = library.channel.asset("IMG_0002.jpg");
  library.remove({id});
  library.reopen();
  EXPECT_FALSE(contains(library.recents(), id));
  EXPECT_EQ(library.infoError(id).message, "Asset not found id = " + id);
}

}  // namespace
}  // namespace quorvin
