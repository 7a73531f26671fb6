// What authorisation, other engines and damaged folders do to the channel.
#include <filesystem>
#include <fstream>

#include "tests/channel/channel_fixture.h"

namespace quorvin {
namespace {

class LibraryState : public ChannelFixture {
 protected:
  List galleriesOf(QuorvinEngine* engine) {
    const Value list = EngineFixture::result(engine, "getGalleryList",
                                             Map{{"withAllPhotos", true},
                                                 {"filterEmptyAsset", true},
                                                 {"withSmartAlbum", true},
                                                 {"mediaType", 0}});
    return list.as<List>() == nullptr ? List{} : *list.as<List>();
  }

  /// The reason why a folder does not open as a library.
  std::string refusal(const std::string& path) {
    QuorvinOptions refused = options();
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
  const std::string id = asset("IMG_0001.jpg");
  for (const int status : {0, 1, 2}) {
    const EnginePointer denied = openLibrary(QUORVIN_IMPORTED_LIBRARY, status);
    EXPECT_TRUE(galleriesOf(denied.get()).empty()) << status;
    const Answer& answer = call(denied.get(), "getAssetInfo", Map{{"assetId", id}});
    await(denied.get(), answer);
    EXPECT_EQ(answer.message.at(0), 1) << status;
    EXPECT_EQ(EngineFixture::result(denied.get(), "getPermission"), Value(false)) << status;
  }
}

TEST_F(LibraryState, LimitedAccessIsNoPermissionAndShowsOnlyTheSelection) {
  const EnginePointer limited = openLibrary(QUORVIN_IMPORTED_LIBRARY, 4);
  EXPECT_EQ(EngineFixture::result(limited.get(), "getPermission"), Value(false));
  EXPECT_TRUE(galleriesOf(limited.get()).empty()) << "nothing is selected";
}

TEST_F(LibraryState, AnImportByAnotherProcessIsSeenByTheNextFetch) {
  const std::string copy = copyOfLibrary();
  const EnginePointer watching = openLibrary(copy);
  const auto total = [&] {
    return integerAt(at(galleriesOf(watching.get()).back(), "assetCount"), "totalCount");
  };
  const auto before = total();
  std::filesystem::create_directory(folder() / "more");
  std::filesystem::copy(std::string(QUORVIN_GENERATED_MEDIA) + "/good/IMG_0001.jpg",
                        folder() / "more/other.jpg");
  std::ofstream(folder() / "more/other.jpg", std::ios::app) << "other bytes";
  const std::string import = std::string(QUORVIN_TOOL) + " --library " + copy +
                             " import --album Holidays " + (folder() / "more").string() +
                             " >/dev/null";
  ASSERT_EQ(std::system(import.c_str()), 0);
  EXPECT_EQ(total(), before + 1);
}

TEST_F(LibraryState, AFolderOfOtherThingsIsRefusedAndLeftAlone) {
  const auto other = folder() / "other";
  std::filesystem::create_directory(other);
  std::ofstream(other / "letter.txt") << "Dear";
  EXPECT_NE(refusal(other), "");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(other), {}), 1);
}

TEST_F(LibraryState, AFileInPlaceOfTheFolderIsRefused) {
  std::ofstream(folder() / "file") << "x";
  EXPECT_NE(refusal(folder() / "file"), "");
}

TEST_F(LibraryState, ADamagedCatalogueIsRefusedAndLeftAlone) {
  const std::string copy = copyOfLibrary();
  std::filesystem::remove(copy + "/library.sqlite-wal");
  std::ofstream(copy + "/library.sqlite", std::ios::trunc) << "this is no catalogue at all";
  EXPECT_NE(refusal(copy), "");
  EXPECT_EQ(std::filesystem::file_size(copy + "/library.sqlite"), 27u);
  EXPECT_TRUE(std::filesystem::exists(copy + "/originals"));
}

}  // namespace
}  // namespace quorvin
