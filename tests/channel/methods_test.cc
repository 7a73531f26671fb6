// Every method once with a result and once with its fault.
#include <set>

#include "testing/engine/library_copy.h"

namespace quorvin {
namespace {

class Methods : public testing::Test {
 protected:
  LibraryCopy library;

  /// The method replies a result; and an error with this message to no arguments.
  Value expectBoth(const std::string& method, Value arguments,
                   const std::string& message = "Error arguments") {
    SCOPED_TRACE(method);
    seen_.insert(method);
    const FlutterError fault = library.channel.error(method);
    EXPECT_EQ(fault, (FlutterError{"Error", message, Value()}));
    return library.channel.result(method, std::move(arguments));
  }
  /// A method that nothing makes fail.
  Value expectResult(const std::string& method) {
    seen_.insert(method);
    return library.channel.result(method);
  }
  std::size_t seen() const { return seen_.size(); }

 private:
  std::set<std::string> seen_;
};

TEST_F(Methods, ReplyAResultOrTheirFault) {
  const std::string recents = library.channel.gallery("Recents");
  const std::string photo = library.channel.asset("IMG_0002.jpg");
  const std::string burst = library.channel.asset("BURST_003.jpg");
  const std::string live = library.channel.asset("IMG_0011.HEIC");
  const std::string movie = library.channel.asset("MOVIE.mov");
  const Map counted = {{"collectionId", recents}, {"sort", 0}, {"mediaType", 0}};

  EXPECT_EQ(expectResult("getPlatformVersion"), Value("iOS 17.2"));
  EXPECT_EQ(expectResult("getPermission"), Value(true));
  EXPECT_EQ(expectResult("clearAllCache"), Value(true));
  EXPECT_EQ(expectResult("stopAllCachingImages"), Value(true));
  EXPECT_EQ(expectResult("startCachingImages"), Value(true));
  EXPECT_EQ(expectResult("stopCachingImages"), Value(true));
  expectBoth("getGalleryList",
             Map{{"withAllPhotos", true},
                 {"filterEmptyAsset", false},
                 {"withSmartAlbum", true},
                 {"mediaType", 0}},
             "Invalid arguments");
  expectBoth("getGalleryAssetCount", counted, "Invalid arguments");
  expectBoth("getGalleryFirstAssetId", counted, "Invalid arguments");
  expectBoth(
      "getAssetList",
      Map{{"collectionId", recents}, {"start", 0}, {"end", 5}, {"sort", 0}, {"mediaType", 0}},
      "Invalid arguments");
  EXPECT_EQ(at(expectBoth("getAssetInfo", Map{{"assetId", photo}}), "id"), Value(photo));
  EXPECT_NE(expectBoth("getThumbnail", Map{{"assetId", photo},
                                           {"width", 100},
                                           {"height", 100},
                                           {"contentMode", 0},
                                           {"jpegFormat", true}})
                .as<ByteBuffer>(),
            nullptr);
  EXPECT_NE(expectBoth("getImageData", imageData(photo, false)).as<ByteBuffer>(), nullptr);
  textAt(expectBoth("getImageUrl", imageFile(photo)), "url");
  textAt(expectBoth("getLivePhotoUrl", livePhotoFile(live), "Invalid arguments"), "url");
  textAt(expectBoth("getVideoUrl", videoFile(movie, Format::original)), "url");
  EXPECT_NE(expectBoth("getBurstAssetList", Map{{"assetId", burst}}).as<List>(), nullptr);
  EXPECT_EQ(expectBoth("getAssetOriginalFilename", Map{{"assetId", photo}}), Value("IMG_0002.jpg"));
  textAt(expectBoth("createAlbum", Map{{"title", "New"}}), "id");
  textAt(expectBoth("saveImage", fileArguments(kGoodMedia / "NO_DATE.jpg")), "id");
  textAt(expectBoth("saveVideo", fileArguments(kGoodMedia / "CLIP.mp4")), "id");
  EXPECT_EQ(expectBoth("deleteAssets", assetIds({photo})), Value(true));
  EXPECT_EQ(seen(), 22U);
}

TEST_F(Methods, WriteNothingToStandardError) {
  // Workers are started by the first call that needs one, and so write there too.
  testing::internal::CaptureStderr();
  for (const char* name : {"IMG_0010.HEIC", "still.avif", "scan.tif", "animation.gif"}) {
    library.channel.image(name, true);
    library.channel.image(name, false, true);
    library.channel.data(name, true);
  }
  for (const char* name : {"MOVIE.mov", "TURNED.mp4", "capture.mkv", "SLOWMO.mov"}) {
    library.channel.video(name, Format::mp4, true);
  }
  library.channel.exported("getLivePhotoUrl",
                           livePhotoFile(library.channel.asset("IMG_0011.HEIC")));
  library.saveError("saveImage", kBadMedia / "truncated.heic");
  library.saveError("saveVideo", kBadMedia / "truncated.mov");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

}  // namespace
}  // namespace quorvin
