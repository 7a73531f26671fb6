// Galleries, counts and first assets of the imported library.
#include <set>

#include "testing/engine/channel.h"

namespace quorvin {
namespace {

class Galleries : public testing::Test {
 protected:
  Channel channel;

  Value counts(const std::string& collection, int mediaType, int sort = kNewestFirst) {
    return channel.result(
        "getGalleryAssetCount",
        Map{{"collectionId", collection}, {"sort", sort}, {"mediaType", mediaType}});
  }
};

std::vector<std::string> titles(const List& galleries) {
  std::vector<std::string> all;
  for (const Value& gallery : galleries) all.push_back(textAt(gallery, "title"));
  return all;
}

TEST_F(Galleries, ListsSmartAlbumsThenTheUserLibraryThenAlbums) {
  EXPECT_EQ(titles(channel.galleries(kAll)),
            (std::vector<std::string>{"Favorites", "Videos", "Selfies", "Live Photos", "Panoramas",
                                      "Time-lapse", "Slo-mo", "Bursts", "Screenshots", "Portrait",
                                      "Screen Recordings", "Animated", "RAW", "Hidden", "Recents",
                                      "Holidays"}));
}

TEST_F(Galleries, LeavesOutEmptyOnesWhenAsked) {
  EXPECT_EQ(titles(channel.galleries(kAll, true)),
            (std::vector<std::string>{"Videos", "Live Photos", "Panoramas", "Slo-mo", "Bursts",
                                      "Screenshots", "Animated", "Recents", "Holidays"}));
  EXPECT_EQ(titles(channel.galleries(kVideos, true)),
            (std::vector<std::string>{"Videos", "Slo-mo", "Recents"}));
}

TEST_F(Galleries, TheCountOfOneGalleryAddsImagesAndVideos) {
  const std::string recents = channel.gallery("Recents");
  const Value all = counts(recents, kAll);
  EXPECT_EQ(integerAt(all, "photoCount"), 24);
  EXPECT_EQ(integerAt(all, "videoCount"), 5);
  EXPECT_EQ(integerAt(all, "audioCount"), 0);
  EXPECT_EQ(integerAt(all, "totalCount"), 29);
  const Value audio = counts(recents, kAudio);
  EXPECT_EQ(integerAt(audio, "audioCount"), 2);
  EXPECT_EQ(integerAt(audio, "totalCount"), 2);
}

TEST_F(Galleries, TheFirstAssetFollowsTheSortOrder) {
  const std::string recents = channel.gallery("Recents");
  const auto arguments = [&](int sort) {
    return Map{{"collectionId", recents}, {"sort", sort}, {"mediaType", kImages}};
  };
  const List oldest = channel.page(recents, 0, 1, kOldestFirst, kImages);
  const List newest = channel.page(recents, 0, 1, kNewestFirst, kImages);
  EXPECT_EQ(channel.result("getGalleryFirstAssetId", arguments(kOldestFirst)),
            at(oldest.at(0), "id"));
  EXPECT_EQ(channel.result("getGalleryFirstAssetId", arguments(kNewestFirst)),
            at(newest.at(0), "id"));
  EXPECT_EQ(at(counts(recents, kImages, kOldestFirst), "firstAssetId"), at(oldest.at(0), "id"));
}

TEST_F(Galleries, AnUnknownGalleryAndAnEmptyOneAreErrorsOfTheirOwn) {
  EXPECT_EQ(channel
                .error("getGalleryAssetCount",
                       Map{{"collectionId", "ABC"}, {"sort", 0}, {"mediaType", 0}})
                .message,
            "Gallery not found id = ABC");
  const std::string hidden = channel.gallery("Hidden");
  EXPECT_EQ(channel
                .error("getGalleryFirstAssetId",
                       Map{{"collectionId", hidden}, {"sort", 0}, {"mediaType", 0}})
                .message,
            "Asset not found for gallery id = " + hidden);
  EXPECT_EQ(textAt(counts(hidden, kAll), "firstAssetId"), "");
}

TEST_F(Galleries, KeepTheirIdentifiersAcrossEngines) {
  const auto ids = [this](QuorvinEngine* engine) {
    const Value list = channel.engines.result(engine, "getGalleryList",
                                              Map{{"withAllPhotos", false},
                                                  {"filterEmptyAsset", false},
                                                  {"withSmartAlbum", true},
                                                  {"mediaType", 0}});
    std::set<std::string> all;
    for (const Value& each : *list.as<List>()) all.insert(textAt(each, "id"));
    return all;
  };
  const EnginePointer another = channel.engines.openLibrary(QUORVIN_IMPORTED_LIBRARY);
  EXPECT_EQ(ids(channel.engine()).size(), 16u);
  EXPECT_EQ(ids(channel.engine()), ids(another.get()));
}

}  // namespace
}  // namespace quorvin
