// Calls that meet a library that cannot be read.
#include <gtest/gtest.h>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {
namespace {

class UnreadableLibrary : public PluginTest {
 protected:
  UnreadableLibrary() {
    library.addAsset(photo("p"));
    library.addCollectionOfEverything(userLibrary());
    unreadable();
  }

  void unreadable() {
    library.duringFetch = [] { throw LibraryUnreadable({"Domain", 1, "It is damaged."}); };
  }
  void expectUnreadable(const char* method, const Map& arguments) {
    EXPECT_EQ(plugin.answer(method, arguments).error(),
              (FlutterError{"Error", "Failed to read the library", Value("It is damaged.")}))
        << method;
  }
};

TEST_F(UnreadableLibrary, FailsEveryQuery) {
  const Map gallery = {{"collectionId", "g"}, {"sort", 0}, {"mediaType", 0}};
  Map page = gallery;
  page.emplace_back("start", 0);
  page.emplace_back("end", 10);
  expectUnreadable("getGalleryList", {{"withAllPhotos", true},
                                      {"filterEmptyAsset", false},
                                      {"withSmartAlbum", true},
                                      {"mediaType", 0}});
  expectUnreadable("getGalleryAssetCount", gallery);
  expectUnreadable("getGalleryFirstAssetId", gallery);
  expectUnreadable("getAssetList", page);
  expectUnreadable("getAssetInfo", {{"assetId", "p"}});
  expectUnreadable("getBurstAssetList", {{"assetId", "p"}});
  expectUnreadable("getAssetOriginalFilename", {{"assetId", "p"}});
}

TEST_F(UnreadableLibrary, FailsAlsoWhatIsReadAfterAChange) {
  library.duringFetch = nullptr;
  library.beforeCompletion = [this](bool&, std::optional<NSError>&) { unreadable(); };
  expectUnreadable("createAlbum", {{"title", "Trip"}});
  library.duringFetch = nullptr;
  expectUnreadable("saveVideo", {{"filePath", "/v.mov"}});
}

}  // namespace
}  // namespace quorvin
