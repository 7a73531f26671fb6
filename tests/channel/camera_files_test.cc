// Real files of cameras, where the environment names a folder of them.
#include <cstdlib>
#include <filesystem>

#include "tests/channel/channel_fixture.h"

namespace quorvin {
namespace {

class CameraFiles : public ChannelFixture {
 protected:
  void SetUp() override {
    const char* folderOfFiles = std::getenv("QUORVIN_TEST_MEDIA");
    if (folderOfFiles == nullptr) GTEST_SKIP() << "QUORVIN_TEST_MEDIA names no folder";
    const std::string library = folder() / "cameras";
    const std::string import = std::string(QUORVIN_TOOL) + " --library " + library + " import " +
                               folderOfFiles + " >/dev/null 2>&1";
    const int status = std::system(import.c_str());
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_LE(WEXITSTATUS(status), 1);
    engine_ = openLibrary(library);
  }

  Value of(const std::string& method, Value arguments) {
    return EngineFixture::result(engine_.get(), method, std::move(arguments));
  }

  List all() {
    const Value galleries = of("getGalleryList", Map{{"withAllPhotos", true},
                                                     {"filterEmptyAsset", true},
                                                     {"withSmartAlbum", true},
                                                     {"mediaType", 0}});
    const Value list =
        of("getAssetList", Map{{"collectionId", textAt(galleries.as<List>()->back(), "id")},
                               {"start", 0},
                               {"end", 1000},
                               {"sort", 0},
                               {"mediaType", 0}});
    return *list.as<List>();
  }

  EnginePointer engine_;
};

TEST_F(CameraFiles, EveryAssetIsAnsweredWithAThumbnailOrAReason) {
  const List assets = all();
  EXPECT_GE(assets.size(), 15u);
  for (const Value& asset : assets) {
    const Answer& answer = call(engine_.get(), "getThumbnail",
                                Map{{"assetId", textAt(asset, "id")},
                                    {"width", 256},
                                    {"height", 256},
                                    {"contentMode", 0},
                                    {"jpegFormat", true}});
    await(engine_.get(), answer);
    EXPECT_GT(answer.message.size(), 10u);
  }
}

TEST_F(CameraFiles, TheSameSceneIsUprightInEveryOrientation) {
  int scenes = 0;
  for (const Value& asset : all()) {
    const Value name = of("getAssetOriginalFilename", Map{{"assetId", textAt(asset, "id")}});
    const bool landscape = name.text().starts_with("landscape_");
    if (!landscape && !name.text().starts_with("portrait_")) continue;
    ++scenes;
    EXPECT_EQ(integerAt(asset, "width") > integerAt(asset, "height"), landscape) << name.text();
  }
  EXPECT_GT(scenes, 0);
}

}  // namespace
}  // namespace quorvin
