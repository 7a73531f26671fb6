// Albums that are made, and files that are saved, through the channel.
#include <algorithm>

#include "testing/engine/library_copy.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr int kOwnOrder = 2;

class Changes : public testing::Test {
 protected:
  LibraryCopy library;
};

std::int64_t modifiedAt(const fs::path& file) {
  return static_cast<std::int64_t>(modificationOf(file) * 1000.0);
}

TEST_F(Changes, ANewAlbumIsListedEmptyAfterTheOthers) {
  const Value record = library.channel.result("createAlbum", Map{{"title", "Ferien \xC3\xA9"}});
  const std::string id = textAt(record, "id");
  EXPECT_TRUE(id.ends_with("/L0/040")) << id;
  const Value zeros =
      Map{{"photoCount", 0}, {"videoCount", 0}, {"audioCount", 0}, {"totalCount", 0}};
  EXPECT_EQ(
      record,
      Value(
          Map{{"type", "user"}, {"id", id}, {"title", "Ferien \xC3\xA9"}, {"assetCount", zeros}}));
  const List all = library.channel.galleries(kAll);
  EXPECT_EQ(textAt(all.back(), "id"), id);
  EXPECT_EQ(textAt(all.back(), "title"), "Ferien \xC3\xA9");
  EXPECT_TRUE(library.channel.page(id, 0, 10, kNewestFirst).empty());
}

TEST_F(Changes, AnAlbumOutlivesItsEngine) {
  const std::string id = library.createAlbum("Kept");
  library.reopen();
  EXPECT_EQ(library.channel.gallery("Kept"), id);
}

TEST_F(Changes, ASavedImageHasTheRecordOfItsMetadata) {
  const fs::path file = library.incoming(kGoodMedia / "IMG_0002.jpg", "again.jpg");
  const Value record = library.save("saveImage", file);
  const std::string id = textAt(record, "id");
  EXPECT_TRUE(id.ends_with("/L0/001")) << id;
  EXPECT_EQ(at(record, "width"), Value(1200));
  EXPECT_EQ(at(record, "height"), Value(1600));
  EXPECT_EQ(at(record, "creationDate"), Value(std::int64_t{1689352260500}));
  // All else is as of the same photo that was imported.
  Map expected =
      *library.channel
           .result("getAssetInfo", Map{{"assetId", library.channel.asset("IMG_0002.jpg")}})
           .as<Map>();
  for (auto& [key, value] : expected) {
    if (key == Value("id")) value = id;
    if (key == Value("modificationDate")) value = modifiedAt(file);
  }
  EXPECT_EQ(record, Value(expected));
  EXPECT_EQ(library.channel.result("getAssetInfo", Map{{"assetId", id}}), record);
  EXPECT_EQ(library.channel.result("getAssetOriginalFilename", Map{{"assetId", id}}),
            Value("again.jpg"));
}

TEST_F(Changes, ASavedVideoHasTheRecordOfItsMetadata) {
  const fs::path file = library.incoming(kGoodMedia / "MOVIE.mov", "again.mov");
  const Value record = library.save("saveVideo", file);
  EXPECT_EQ(at(record, "mediaType"), Value(2));
  EXPECT_EQ(at(record, "width"), Value(640));
  EXPECT_EQ(at(record, "height"), Value(360));
  EXPECT_EQ(at(record, "creationDate"), Value(std::int64_t{1689330030000}));
  EXPECT_EQ(at(record, "modificationDate"), Value(modifiedAt(file)));
  EXPECT_NEAR(*at(record, "duration").as<double>(), 2000, 60);
}

TEST_F(Changes, TheSourceStaysAsItWas) {
  for (const auto& [method, source] :
       {std::pair("saveImage", "IMG_0001.jpg"), std::pair("saveVideo", "CLIP.mp4")}) {
    const fs::path file = library.incoming(kGoodMedia / source, source);
    fs::permissions(file, fs::perms::owner_read);
    const auto time = fs::last_write_time(file);
    library.save(method, file);
    EXPECT_TRUE(bytesOf(file) == bytesOf(kGoodMedia / source));
    EXPECT_EQ(fs::last_write_time(file), time);
    EXPECT_EQ(fs::hard_link_count(file), 1u);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read);
  }
}

TEST_F(Changes, ASavedFileIsTheLibrarysOwn) {
  const fs::path file = library.incoming(kGoodMedia / "NO_DATE.jpg", "gone.jpg");
  const std::string id = textAt(library.save("saveImage", file), "id");
  fs::remove(file);
  const Value data = library.channel.result("getImageData", imageData(id, false));
  ASSERT_NE(data.as<ByteBuffer>(), nullptr);
  const auto bytes = data.as<ByteBuffer>()->bytes();
  EXPECT_TRUE(std::ranges::equal(bytes, bytesOf(kGoodMedia / "NO_DATE.jpg"), {}, {},
                                 [](char c) { return static_cast<std::uint8_t>(c); }));
}

TEST_F(Changes, SavedFilesWithoutADateAreTheNewest) {
  const auto before = library.total(library.channel.gallery("Recents"));
  const std::string image = textAt(
      library.save("saveImage", library.incoming(kGoodMedia / "NO_DATE.jpg", "a.jpg")), "id");
  EXPECT_EQ(library.recents().front(), image);
  const std::string video = textAt(
      library.save("saveVideo", library.incoming(kGoodMedia / "capture.mkv", "b.mkv")), "id");
  EXPECT_EQ(library.recents().front(), video);
  EXPECT_EQ(library.recents(kOldestFirst).back(), video);
  EXPECT_EQ(library.total(library.channel.gallery("Recents")), before + 2);
  const Value first = library.channel.result(
      "getGalleryFirstAssetId",
      Map{{"collectionId", library.channel.gallery("Recents")}, {"sort", 0}, {"mediaType", 1}});
  EXPECT_EQ(first, Value(image));
}

TEST_F(Changes, SavedFilesJoinTheAlbumAtItsEnd) {
  for (const bool isNew : {false, true}) {
    const std::string album =
        isNew ? library.createAlbum("New") : library.channel.gallery("Holidays");
    Names members = library.listed(album, kOwnOrder);
    const std::string tag = isNew ? "new" : "old";
    members.push_back(
        textAt(library.save("saveImage",
                            library.incoming(kGoodMedia / "IMG_0003.JPG", tag + ".jpg"), album),
               "id"));
    members.push_back(textAt(
        library.save("saveVideo", library.incoming(kGoodMedia / "CLIP.mp4", tag + ".mp4"), album),
        "id"));
    EXPECT_EQ(library.listed(album, kOwnOrder), members);
    EXPECT_EQ(library.total(album), static_cast<std::int64_t>(members.size()));
  }
}

TEST_F(Changes, AnUnknownAlbumIsReportedBeforeAnythingIsSaved) {
  const Names before = library.everything();
  const fs::path image = library.incoming(kGoodMedia / "NO_DATE.jpg", "a.jpg");
  const fs::path video = library.incoming(kGoodMedia / "CLIP.mp4", "a.mp4");
  for (const std::string& album :
       {std::string("unknown"), std::string(), library.recents().front()}) {
    EXPECT_EQ(library.saveError("saveImage", image, album),
              (FlutterError{"Error", "Save image error", Value("Collection not found")}));
    EXPECT_EQ(library.saveError("saveVideo", video, album),
              (FlutterError{"Error", "Save video error", Value("Collection not found")}));
  }
  EXPECT_EQ(library.everything(), before);
}

TEST_F(Changes, EverySortOfImageCanBeSaved) {
  for (const char* name : {"IMG_0010.HEIC", "still.avif", "transparent.png", "drawing.webp",
                           "scan.tif", "animation.gif", "orientation_6.jpg"}) {
    const Value record = library.save("saveImage", kGoodMedia / name);
    EXPECT_EQ(at(record, "mediaType"), Value(1)) << name;
    const std::string id = textAt(record, "id");
    EXPECT_EQ(library.channel.result("getAssetOriginalFilename", Map{{"assetId", id}}),
              Value(name));
  }
  EXPECT_EQ(at(library.save("saveImage", kGoodMedia / "orientation_6.jpg"), "width"), Value(240));
}

TEST_F(Changes, OddNamesAreKept) {
  for (const std::string name : {"a b%20c#d?.jpg", "Ferien \xC3\xA9.JPG", "no suffix",
                                 ".hidden.jpg", "'; DROP TABLE assets; --.jpg", "new\nline.jpg"}) {
    const Value record =
        library.save("saveImage", library.incoming(kGoodMedia / "NO_DATE.jpg", name));
    const std::string id = textAt(record, "id");
    EXPECT_EQ(library.channel.result("getAssetOriginalFilename", Map{{"assetId", id}}),
              Value(name));
  }
}

TEST_F(Changes, EveryExportOfASavedImageWorks) {
  const std::string id = textAt(
      library.save("saveImage", library.incoming(kGoodMedia / "IMG_0010.HEIC", "a.heic")), "id");
  const Value thumbnail = library.channel.result("getThumbnail", Map{{"assetId", id},
                                                                     {"width", 100},
                                                                     {"height", 100},
                                                                     {"contentMode", 0},
                                                                     {"jpegFormat", true}});
  EXPECT_NE(thumbnail.as<ByteBuffer>(), nullptr);
  const fs::path original = library.channel.exported("getImageUrl", imageFile(id));
  EXPECT_TRUE(bytesOf(original) == bytesOf(kGoodMedia / "IMG_0010.HEIC"));
  EXPECT_EQ(original.filename(), "a.heic");
  EXPECT_EQ(seeStill(library.channel.exported("getImageUrl", imageFile(id, true))).format, "mjpeg");
  EXPECT_EQ(seeStill(library.channel.exported("getImageUrl", imageFile(id, false, true))).format,
            "mjpeg");
}

TEST_F(Changes, EveryExportOfASavedVideoWorks) {
  const std::string id =
      textAt(library.save("saveVideo", library.incoming(kGoodMedia / "MOVIE.mov", "a.mov")), "id");
  const Value inPlace = library.channel.result("getVideoUrl", videoFile(id, Format::original));
  EXPECT_EQ(at(inPlace, "deletable"), Value(false));
  EXPECT_TRUE(bytesOf(textAt(inPlace, "url")) == bytesOf(kGoodMedia / "MOVIE.mov"));
  EXPECT_EQ(seeVideo(library.channel.exported("getVideoUrl", videoFile(id, Format::mp4))).frames,
            60);
  EXPECT_GT(
      seeVideo(library.channel.exported("getVideoUrl", videoFile(id, Format::mov, true))).frames,
      0);
}

TEST_F(Changes, ASavedAssetIsFoundInTheCacheEvenWhenSomebodyDeletesIt) {
  const std::string image = textAt(
      library.save("saveImage", library.incoming(kGoodMedia / "NO_DATE.jpg", "a.jpg")), "id");
  const std::string video =
      textAt(library.save("saveVideo", library.incoming(kGoodMedia / "CLIP.mp4", "a.mp4")), "id");
  const EnginePointer other = library.channel.engines.openLibrary(library.path());
  EXPECT_EQ(library.channel.engines.result(other.get(), "deleteAssets", assetIds({image, video})),
            Value(true));
  for (const std::string& id : {image, video}) {
    EXPECT_EQ(at(library.channel.result("getAssetInfo", Map{{"assetId", id}}), "id"), Value(id));
  }
  library.channel.result("clearAllCache");
  EXPECT_EQ(library.infoError(image).message, "Asset not found id = " + image);
  EXPECT_EQ(library.infoError(video).message, "Asset not found id = " + video);
}

TEST_F(Changes, AnotherEngineSeesWhatOneSaves) {
  const EnginePointer other = library.channel.engines.openLibrary(library.path());
  const std::string album = library.createAlbum("Shared");
  const std::string id = textAt(
      library.save("saveImage", library.incoming(kGoodMedia / "NO_DATE.jpg", "a.jpg"), album),
      "id");
  const Value page = library.channel.engines.result(
      other.get(), "getAssetList",
      Map{{"collectionId", album}, {"start", 0}, {"end", 5}, {"sort", 0}, {"mediaType", 0}});
  ASSERT_NE(page.as<List>(), nullptr);
  ASSERT_EQ(page.as<List>()->size(), 1u);
  EXPECT_EQ(textAt(page.as<List>()->front(), "id"), id);
}

TEST_F(Changes, TwoEnginesSaveAtTheSameTime) {
  const EnginePointer other = library.channel.engines.openLibrary(library.path());
  const auto before = library.total(library.channel.gallery("Recents"));
  std::vector<Answer*> mine;
  std::vector<Answer*> theirs;
  for (int i = 0; i < 6; ++i) {
    const fs::path file =
        library.incoming(kGoodMedia / "orientation_1.jpg", std::to_string(i) + ".jpg");
    mine.push_back(&library.channel.call("saveImage", Map{{"filePath", file.string()}}));
    theirs.push_back(
        &library.channel.engines.call(other.get(), "saveImage", Map{{"filePath", file.string()}}));
  }
  for (Answer* answer : mine) library.channel.await(*answer);
  for (Answer* answer : theirs) library.channel.engines.await(other.get(), *answer);
  for (const auto* answers : {&mine, &theirs}) {
    for (const Answer* answer : *answers) {
      EXPECT_EQ(answer->count, 1);
      EXPECT_EQ(answer->message.at(0), 0) << "a result";
    }
  }
  EXPECT_EQ(library.total(library.channel.gallery("Recents")), before + 12);
}

}  // namespace
}  // namespace quorvin
