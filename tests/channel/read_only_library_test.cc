// Libraries that can only be read: every method that reads answers as ever, and those that change
// say why they cannot.
#include <set>

#include "testing/engine/library_copy.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Call {
  std::string method;
  Map arguments;
};

class ReadOnlyLibrary : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
    fs::copy(QUORVIN_IMPORTED_LIBRARY, place, fs::copy_options::recursive);
    channel.use(place);
    photo = channel.asset("IMG_0002.jpg");
  }

  std::vector<Call> readingCalls() {
    const std::string recents = channel.gallery("Recents");
    const std::string heic = channel.asset("IMG_0011.HEIC");
    const std::string movie = channel.asset("MOVIE.mov");
    const Map counted = {{"collectionId", recents}, {"sort", 0}, {"mediaType", 0}};
    return {
        {"getPlatformVersion", {}},
        {"getPermission", {}},
        {"clearAllCache", {}},
        {"stopAllCachingImages", {}},
        {"startCachingImages", {}},
        {"stopCachingImages", {}},
        {"getGalleryList",
         {{"withAllPhotos", true},
          {"filterEmptyAsset", false},
          {"withSmartAlbum", true},
          {"mediaType", 0}}},
        {"getGalleryAssetCount", counted},
        {"getGalleryFirstAssetId", counted},
        {"getAssetList",
         {{"collectionId", recents}, {"start", 0}, {"end", 1000}, {"sort", 0}, {"mediaType", 0}}},
        {"getAssetInfo", {{"assetId", photo}}},
        {"getThumbnail",
         {{"assetId", photo},
          {"width", 64.0},
          {"height", 64.0},
          {"contentMode", 0},
          {"jpegFormat", true}}},
        {"getImageData", imageData(photo, false)},
        {"getImageData", imageData(heic, true)},
        {"getImageUrl", imageFile(photo)},
        {"getImageUrl", imageFile(heic, true, true)},
        {"getLivePhotoUrl", livePhotoFile(heic)},
        {"getVideoUrl", videoFile(movie, Format::mp4)},
        {"getBurstAssetList", {{"assetId", channel.asset("BURST_003.jpg")}}},
        {"getAssetOriginalFilename", {{"assetId", photo}}},
    };
  }
  std::vector<Bytes> replies(const std::vector<Call>& calls) {
    std::vector<Bytes> all;
    for (const Call& call : calls) {
      const Answer& answer = channel.call(call.method, call.arguments);
      channel.await(answer);
      EXPECT_EQ(answer.message.at(0), 0) << call.method << " replied an error";
      all.push_back(answer.message);
    }
    // Exports come anew with the next engine.
    fs::remove_all(channel.temporary());
    return all;
  }
  /// Every method that changes the library replies its error with this reason.
  void expectChangesToFailWith(const std::string& reason) {
    const std::string file = kGoodMedia / "NO_DATE.jpg";
    const std::string film = kGoodMedia / "CLIP.mp4";
    const std::vector<std::pair<Call, std::string>> calls = {
        {{"createAlbum", {{"title", "New"}}}, "Create album error"},
        {{"deleteAssets", assetIds({photo})}, "Deleting assets error"},
        {{"saveImage", fileArguments(file)}, "Save image error"},
        {{"saveImage", fileArguments(file, channel.gallery("Holidays"))}, "Save image error"},
        {{"saveVideo", fileArguments(film)}, "Save video error"}};
    for (const auto& [call, message] : calls) {
      EXPECT_EQ(channel.error(call.method, call.arguments),
                (FlutterError{"Error", message, Value(reason)}))
          << call.method;
    }
  }

  SmallVolume volume{"size=64m"};
  const std::string place = volume / "library";
  Exports channel;
  std::string photo;
};

TEST_F(ReadOnlyLibrary, RepliesTheSameBytesAsOneThatCanBeWrittenTo) {
  const auto calls = readingCalls();
  std::set<std::string> methods;
  for (const Call& call : calls) methods.insert(call.method);
  EXPECT_EQ(methods.size(), 18U) << "all but those that change";
  const auto expected = replies(calls);
  channel.use(QUORVIN_IMPORTED_LIBRARY);  // it closes
  volume.makeReadOnly();
  const auto before = stateBelow(volume.path());
  channel.use(place);
  const auto found = replies(calls);
  for (std::size_t i = 0; i < calls.size(); ++i) {
    EXPECT_EQ(found[i], expected[i]) << calls[i].method;
  }
  expectChangesToFailWith("The library “" + place +
                          "” can only be read because its volume is read-only."
                          " (QuorvinLibraryErrorDomain error 3300.)");
  channel.use(QUORVIN_IMPORTED_LIBRARY);
  EXPECT_EQ(stateBelow(volume.path()), before);
}

TEST_F(ReadOnlyLibrary, CanBeWatchedThoughNothingHappens) {
  channel.use(QUORVIN_IMPORTED_LIBRARY);
  volume.makeReadOnly();
  channel.use(place);
  const Answer& listening =
      channel.engines.send(channel.engine(), callMessage("listen"), "quorvin/changes");
  channel.await(listening);
  EXPECT_EQ(listening.message.at(0), 0);
  EXPECT_EQ(channel.galleries(kAll).empty(), false);
}

TEST_F(ReadOnlyLibrary, TheUserIsNotAskedAboutADeletionThatCannotBe) {
  channel.use(QUORVIN_IMPORTED_LIBRARY);
  volume.makeReadOnly();
  QuorvinOptions options = channel.engines.options();
  options.library_path = place.c_str();
  int asked = 0;
  options.user_data = &asked;
  options.confirm_deletion = [](std::size_t, void* data) {
    ++*static_cast<int*>(data);
    return std::int32_t{1};
  };
  const EnginePointer engine = channel.engines.open(options);
  EXPECT_EQ(channel.engines.error(engine.get(), "deleteAssets", assetIds({photo})).message,
            "Deleting assets error");
  EXPECT_EQ(asked, 0);
}

}  // namespace
}  // namespace quorvin
