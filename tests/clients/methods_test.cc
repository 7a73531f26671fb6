// Every method of the client in C++ beside what `quorvin call` says.
#include <set>

#include "tests/clients/client_fixture.h"

namespace quorvin {
namespace {

namespace qc = client;

Json json(const std::string& text) {
  return text;
}

Json json(bool value) {
  return value;
}

Json json(const qc::Asset& asset) {
  return {{"id", asset.id},
          {"mediaType", static_cast<int>(asset.mediaType)},
          {"width", asset.width},
          {"height", asset.height},
          {"creationDate", asset.creationDate},
          {"modificationDate", asset.modificationDate},
          {"duration", asset.duration},
          {"isFavorite", asset.isFavorite},
          {"isHidden", asset.isHidden},
          {"burstIdentifier", asset.burstIdentifier},
          {"representsBurst", asset.representsBurst},
          {"burstSelectionTypes", asset.burstSelectionTypes},
          {"isLivePhoto", asset.isLivePhoto}};
}

Json json(const qc::AssetCount& count) {
  return {{"photoCount", count.photoCount},
          {"videoCount", count.videoCount},
          {"audioCount", count.audioCount},
          {"totalCount", count.totalCount}};
}

Json json(const qc::GalleryAssetCount& count) {
  Json counted = json(static_cast<const qc::AssetCount&>(count));
  counted["firstAssetId"] = count.firstAssetId;
  return counted;
}

Json json(const qc::Gallery& gallery) {
  return {{"type", gallery.type == qc::GalleryType::smart ? "smart" : "user"},
          {"id", gallery.id},
          {"title", gallery.title},
          {"assetCount", json(gallery.assetCount)}};
}

template <class Record>
Json json(const std::vector<Record>& records) {
  Json list = Json::array();
  for (const Record& record : records) list.push_back(json(record));
  return list;
}

/// What a new asset or album has of its own.
Json withoutItsOwn(Json record) {
  record["id"] = "";
  if (record.contains("modificationDate")) record["modificationDate"] = 0;
  return record;
}

bool beginsWith(const qc::Bytes& bytes, const qc::Bytes& begin) {
  return bytes.size() > begin.size() && std::equal(begin.begin(), begin.end(), bytes.begin());
}

const qc::Bytes kJpeg = {0xff, 0xd8, 0xff};
const qc::Bytes kPng = {0x89, 'P', 'N', 'G'};

class ClientMethods : public ClientFixture {
 protected:
  /// The future's result, which is to be what the program says.
  template <class T>
  T same(std::future<T> future, const std::string& method, const Json& arguments = nullptr) {
    T result = photos_.wait(std::move(future));
    EXPECT_EQ(json(result), told(method, arguments)) << method;
    return result;
  }

  Json told(const std::string& method, const Json& arguments) {
    const std::string text = arguments.is_null() ? "" : arguments.dump();
    return call(library(), method, text)["result"];
  }

  /// The exported file, which is to have the bytes of the one that the program exports.
  qc::ExportedFile sameFile(std::future<qc::ExportedFile> future, const std::string& method,
                            const Json& arguments) {
    const qc::ExportedFile file = photos_.wait(std::move(future));
    const Json other = told(method, arguments);
    EXPECT_EQ(file.deletable, other["deletable"].get<bool>()) << method;
    EXPECT_EQ(contents(file.url), contents(other["url"].get<std::string>())) << method;
    EXPECT_GT(fs::file_size(file.url), 0u) << method;
    return file;
  }

  /// The bytes that the program writes.
  std::string bytesOf(const std::string& method, const Json& arguments) {
    const std::string out = folder() / "out";
    quorvin({"--library", library(), "call", method, arguments.dump(), "--out", out});
    return contents(out);
  }

  qc::Library photos_{options()};
};

TEST_F(ClientMethods, OfTheLibraryAnswerAsTheProgramSays) {
  same(photos_.getPlatformVersion(), "getPlatformVersion");
  EXPECT_TRUE(same(photos_.getPermission(), "getPermission"));
  EXPECT_EQ(photos_.wait(photos_.clearAllCache()), qc::Done());
  EXPECT_EQ(photos_.wait(photos_.startCachingImages()), qc::Done());
  EXPECT_EQ(photos_.wait(photos_.stopCachingImages()), qc::Done());
  EXPECT_EQ(photos_.wait(photos_.stopAllCachingImages()), qc::Done());
}

TEST_F(ClientMethods, OfGalleriesAnswerAsTheProgramSays) {
  Json arguments = {{"withAllPhotos", true},
                    {"filterEmptyAsset", false},
                    {"withSmartAlbum", true},
                    {"mediaType", 0}};
  EXPECT_GT(same(photos_.getGalleryList(), "getGalleryList", arguments).size(), 10u);
  arguments["filterEmptyAsset"] = true;
  arguments["withSmartAlbum"] = false;
  arguments["mediaType"] = 2;
  qc::GalleryListOptions videos;
  videos.filterEmptyAsset = true;
  videos.withSmartAlbum = false;
  videos.mediaType = qc::MediaFilter::videos;
  EXPECT_FALSE(same(photos_.getGalleryList(videos), "getGalleryList", arguments).empty());

  const std::string all = everything(photos_);
  const qc::AssetSelection oldest = {qc::SortOrder::oldestFirst, qc::MediaFilter::images};
  arguments = {{"collectionId", all}, {"sort", 1}, {"mediaType", 1}};
  const auto count =
      same(photos_.getGalleryAssetCount(all, oldest), "getGalleryAssetCount", arguments);
  EXPECT_GT(count.photoCount, 0);
  EXPECT_EQ(same(photos_.getGalleryFirstAssetId(all, oldest), "getGalleryFirstAssetId", arguments),
            count.firstAssetId);
}

TEST_F(ClientMethods, OfAssetsAnswerAsTheProgramSays) {
  const std::string all = everything(photos_);
  const qc::AssetPage page = {3, 20, qc::SortOrder::newestFirst, qc::MediaFilter::all};
  const auto assets =
      same(photos_.getAssetList(all, page), "getAssetList",
           {{"collectionId", all}, {"start", 3}, {"end", 20}, {"sort", 0}, {"mediaType", 0}});
  ASSERT_EQ(assets.size(), 17u);
  same(photos_.getAssetInfo(assets[0].id), "getAssetInfo", {{"assetId", assets[0].id}});
  int bursts = 0;
  for (const qc::Asset& asset : assetsIn(photos_, all)) {
    if (!asset.representsBurst) continue;
    ++bursts;
    const Json burst = {{"assetId", asset.id}};
    EXPECT_GT(same(photos_.getBurstAssetList(asset.id), "getBurstAssetList", burst).size(), 1u);
  }
  EXPECT_GT(bursts, 0);
}

TEST_F(ClientMethods, ForBytesAnswerAsTheProgramSays) {
  const std::string photo = assetNamed(photos_, "IMG_0002.jpg").id;
  qc::ThumbnailOptions target;
  target.width = 64;
  target.height = 48.5;
  target.contentMode = qc::ContentMode::cover;
  const auto thumbnail = photos_.wait(photos_.getThumbnail(photo, target));
  ASSERT_TRUE(thumbnail && beginsWith(*thumbnail, kJpeg));
  EXPECT_EQ(std::string(thumbnail->begin(), thumbnail->end()),
            bytesOf("getThumbnail", {{"assetId", photo},
                                     {"width", 64.0},
                                     {"height", 48.5},
                                     {"contentMode", 1},
                                     {"jpegFormat", true}}));
  target.jpegFormat = false;
  const auto png = photos_.wait(photos_.getThumbnail(photo, target));
  EXPECT_TRUE(png && beginsWith(*png, kPng));
  const std::string song = assetNamed(photos_, "song.mp3").id;
  EXPECT_FALSE(photos_.wait(photos_.getThumbnail(song, target)));

  const auto data = photos_.wait(photos_.getImageData(photo));
  EXPECT_EQ(std::string(data.begin(), data.end()), contents(kGoodMedia / "IMG_0002.jpg"));
  qc::ImageDataOptions asJpeg;
  asJpeg.convertJpeg = true;
  const std::string heic = assetNamed(photos_, "IMG_0011.HEIC").id;
  EXPECT_TRUE(beginsWith(photos_.wait(photos_.getImageData(heic, asJpeg)), kJpeg));
}

TEST_F(ClientMethods, ForFilesAnswerAsTheProgramSays) {
  const std::string photo = assetNamed(photos_, "IMG_0002.jpg").id;
  const std::string live = assetNamed(photos_, "IMG_0011.HEIC").id;
  const std::string movie = assetNamed(photos_, "MOVIE.mov").id;
  qc::ImageUrlOptions medium;
  medium.mediumQuality = true;
  sameFile(photos_.getImageUrl(photo, medium), "getImageUrl",
           {{"assetId", photo}, {"convertJpeg", false}, {"mediumQuality", true}});
  sameFile(photos_.getLivePhotoUrl(live), "getLivePhotoUrl",
           {{"assetId", live}, {"mediumQuality", false}});
  const auto original =
      sameFile(photos_.getVideoUrl(movie), "getVideoUrl",
               {{"assetId", movie}, {"mediumQuality", false}, {"videoFormat", 0}});
  EXPECT_FALSE(original.deletable);
  qc::VideoUrlOptions mp4;
  mp4.videoFormat = qc::VideoFormat::mpeg4;
  const auto exported = photos_.wait(photos_.getVideoUrl(movie, mp4));
  EXPECT_TRUE(exported.deletable);
  EXPECT_EQ(fs::path(exported.url).extension(), ".mp4");
}

TEST_F(ClientMethods, ThatChangeTheLibraryAnswerAsTheProgramSays) {
  const auto album = photos_.wait(photos_.createAlbum("Täglich"));
  EXPECT_EQ(withoutItsOwn(json(album)), withoutItsOwn(told("createAlbum", {{"title", "Täglich"}})));
  qc::SavingOptions intoAlbum;
  intoAlbum.collectionId = album.id;
  const std::string clip = kGoodMedia / "CLIP.mp4";
  const auto photo = photos_.wait(photos_.saveImage(kGoodMedia / "IMG_0002.jpg", intoAlbum));
  const auto video = photos_.wait(photos_.saveVideo(clip, intoAlbum));
  EXPECT_EQ(withoutItsOwn(json(video)), withoutItsOwn(told("saveVideo", {{"filePath", clip}})));
  EXPECT_EQ(assetsIn(photos_, album.id).size(), 2u);
  photos_.wait(photos_.deleteAssets({photo.id, "no asset"}));
  const auto left = assetsIn(photos_, album.id);
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].id, video.id);
}

TEST_F(ClientMethods, TakeCallbacksToo) {
  std::vector<std::string> answers;
  photos_.getPermission(
      [&](qc::Result<bool> granted) { answers.push_back(json(*granted).dump()); });
  photos_.getAssetInfo("no asset", [&](qc::Result<qc::Asset> asset) {
    ASSERT_FALSE(asset);
    answers.emplace_back(asset.error()->what());
    EXPECT_THROW(asset.value(), qc::QuorvinError);
  });
  photos_.getGalleryList({}, [&](qc::Result<std::vector<qc::Gallery>> galleries) {
    answers.push_back(galleries->at(0).title);
  });
  while (answers.size() < 3) photos_.run(-1);
  EXPECT_EQ(std::set<std::string>(answers.begin(), answers.end()),
            (std::set<std::string>{"true", "Asset not found id = no asset", "Favorites"}));
}

TEST_F(ClientMethods, ThrowTheErrorsOfThePlugin) {
  try {
    photos_.wait(photos_.saveImage("/nonexistent.jpg"));
    ADD_FAILURE() << "nothing was thrown";
  } catch (const qc::QuorvinError& error) {
    EXPECT_EQ(error.code(), "Error");
    EXPECT_EQ(error.message(), "Save image error");
    EXPECT_NE(error.details().as<std::string>(), nullptr);
  }
  EXPECT_THROW(photos_.wait(photos_.call("getEverything")), qc::NotImplementedError);
  EXPECT_THROW(photos_.createAlbum("\xff"), qc::UnencodableValueError);
}

TEST_F(ClientMethods, OfAnyNameAreCalledWithValues) {
  const std::string movie = assetNamed(photos_, "MOVIE.mov").id;
  const qc::Value asset = photos_.wait(photos_.call("getAssetInfo", qc::Map{{"assetId", movie}}));
  ASSERT_NE(asset.find("duration"), nullptr);
  EXPECT_GT(*asset.find("duration")->as<double>(), 0);
  EXPECT_EQ(*asset.find("mediaType"), qc::Value(2));
}

}  // namespace
}  // namespace quorvin
