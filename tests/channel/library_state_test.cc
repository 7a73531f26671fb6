// What authorisation, other engines and damaged folders do to the channel.
#include <filesystem>
#include <fstream>

#include "testing/engine/channel.h"
#include "testing/engine/media_check.h"

namespace quorvin {
namespace {

class LibraryState : public testing::Test {
 protected:
  Channel channel;

  List galleriesOf(QuorvinEngine* engine) {
    const Value list = channel.engines.result(engine, "getGalleryList",
                                              Map{{"withAllPhotos", true},
                                                  {"filterEmptyAsset", false},
                                                  {"withSmartAlbum", true},
                                                  {"mediaType", 0}});
    return list.as<List>() == nullptr ? List{} : *list.as<List>();
  }

  /// The gallery's number of assets; -1 when it is not listed.
  std::int64_t totalOf(QuorvinEngine* engine, const std::string& title) {
    for (const Value& each : galleriesOf(engine)) {
      if (textAt(each, "title") == title) return integerAt(at(each, "assetCount"), "totalCount");
    }
    return -1;
  }
  bool knows(QuorvinEngine* engine, const std::string& id) {
    const Answer& answer = channel.engines.call(engine, "getAssetInfo", Map{{"assetId", id}});
    channel.engines.await(engine, answer);
    return !answer.message.empty() && answer.message[0] == 0;
  }

  /// The reason why a folder does not open as a library.
  std::string refusal(const std::string& path) {
    QuorvinOptions refused = channel.engines.options();
    refused.library_path = path.c_str();
    char* error = nullptr;
    const EnginePointer engine(quorvin_engine_create(&refused, &error));
    EXPECT_EQ(engine, nullptr);
    const std::string reason = error == nullptr ? "" : error;
    quorvin_free(error);
    return reason;
  }
};

TEST_F(LibraryState, WithoutAuthorisationEverythingIsEmptyAndNothingAnError) {
  const std::string id = channel.asset("IMG_0001.jpg");
  EXPECT_GT(totalOf(channel.engine(), "Recents"), 0);
  EXPECT_TRUE(knows(channel.engine(), id));
  for (const int status : {0, 1, 2}) {
    const EnginePointer denied = channel.engines.openLibrary(QUORVIN_IMPORTED_LIBRARY, status);
    EXPECT_TRUE(galleriesOf(denied.get()).empty()) << status;
    EXPECT_FALSE(knows(denied.get(), id)) << status;
    EXPECT_EQ(channel.engines.result(denied.get(), "getPermission"), Value(false)) << status;
  }
}

TEST_F(LibraryState, LimitedAccessIsNoPermissionAndShowsOnlyTheSelection) {
  const auto assets = channel.assetsByName();
  const std::string copy = channel.folder() / "copy";
  copyImportedLibrary(copy);
  const EnginePointer limited = channel.engines.openLibrary(copy, 4);
  EXPECT_EQ(channel.engines.result(limited.get(), "getPermission"), Value(false));
  EXPECT_EQ(totalOf(limited.get(), "Recents"), 0) << "nothing is selected";
  EXPECT_FALSE(knows(limited.get(), assets.at("MOVIE.mov")));
  outputOf({"sqlite3", copy + "/library.sqlite",
            "INSERT INTO limited_selection SELECT id FROM assets WHERE ident = '" +
                assets.at("MOVIE.mov") + "'"});
  EXPECT_EQ(totalOf(limited.get(), "Recents"), 1);
  EXPECT_EQ(totalOf(limited.get(), "Videos"), 1);
  EXPECT_EQ(totalOf(limited.get(), "Screenshots"), 0);
  EXPECT_EQ(totalOf(limited.get(), "Holidays"), -1) << "no album is shown";
  EXPECT_TRUE(knows(limited.get(), assets.at("MOVIE.mov")));
  EXPECT_FALSE(knows(limited.get(), assets.at("IMG_0002.jpg")));
}

TEST_F(LibraryState, AnImportByAnotherProcessIsSeenByTheNextFetch) {
  const std::string copy = channel.folder() / "copy";
  copyImportedLibrary(copy);
  const EnginePointer watching = channel.engines.openLibrary(copy);
  const auto total = [&] { return totalOf(watching.get(), "Holidays"); };
  const auto before = total();
  std::filesystem::create_directory(channel.folder() / "more");
  std::filesystem::copy(std::string(QUORVIN_GENERATED_MEDIA) + "/good/IMG_0001.jpg",
                        channel.folder() / "more/other.jpg");
  std::ofstream(channel.folder() / "more/other.jpg", std::ios::app) << "other bytes";
  const std::string import = std::string(QUORVIN_TOOL) + " --library " + copy +
                             " import --album Holidays " + (channel.folder() / "more").string() +
                             " >/dev/null";
  ASSERT_EQ(std::system(import.c_str()), 0);
  EXPECT_EQ(total(), before + 1);
}

TEST_F(LibraryState, ADamagedCatalogueIsRefusedAndLeftAlone) {
  const std::string copy = channel.folder() / "copy";
  copyImportedLibrary(copy);
  std::filesystem::remove(copy + "/library.sqlite-wal");
  std::ofstream(copy + "/library.sqlite", std::ios::trunc) << "this is no catalogue at all";
  EXPECT_NE(refusal(copy), "");
  EXPECT_EQ(std::filesystem::file_size(copy + "/library.sqlite"), 27u);
  EXPECT_TRUE(std::filesystem::exists(copy + "/originals"));
}

}  // namespace
}  // namespace quorvin
