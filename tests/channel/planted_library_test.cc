// Libraries that somebody else has filled: nothing planted in one leads outside it.
#include <sys/stat.h>

#include <fstream>

#include "testing/engine/library_copy.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class PlantedLibrary : public testing::Test {
 protected:
  LibraryCopy library;
  Exports& channel = library.channel;

  void SetUp() override {
    fs::create_directories(outside());
    // A photo and videos that could be shown, if they were reached.
    fs::copy_file(kGoodMedia / "IMG_0001.jpg", outside() / "photo");
    fs::copy_file(kGoodMedia / "CLIP.mp4", outside() / "video");
    fs::copy_file(kGoodMedia / "IMG_0011.MOV", outside() / "motion");
    before_ = stateBelow(outside());
  }
  void TearDown() override { EXPECT_EQ(stateBelow(outside()), before_); }

  fs::path outside() const { return channel.folder() / "outside"; }

  std::string sql(const std::string& statement) const {
    return outputOf({"sqlite3", library.path() / "library.sqlite", statement});
  }
  fs::path original(const std::string& name, int type) const {
    std::string path = sql("SELECT path FROM resources WHERE type = " + std::to_string(type) +
                           " AND name = '" + name + "'");
    while (path.ends_with('\n')) path.pop_back();
    EXPECT_FALSE(path.empty()) << name;
    return path;
  }

  /// What every method answers for assets whose files are not there.
  std::vector<FlutterError> errors() {
    std::vector<FlutterError> all;
    const std::string photo = channel.asset("IMG_0002.jpg");
    const std::string video = channel.asset("MOVIE.mov");
    const std::string livePhoto = channel.asset("IMG_0011.HEIC");
    const auto add = [&](const std::string& method, Map arguments) {
      all.push_back(channel.error(method, std::move(arguments)));
    };
    for (const bool convert : {false, true}) {
      add("getImageData", imageData(photo, convert));
      add("getImageUrl", imageFile(photo, convert));
      add("getImageUrl", imageFile(photo, convert, true));
    }
    for (const std::string& id : {photo, video}) {
      add("getThumbnail", {{"assetId", id},
                           {"width", 64.0},
                           {"height", 64.0},
                           {"contentMode", 0},
                           {"jpegFormat", true}});
    }
    for (const Format format : {Format::original, Format::mov, Format::mp4}) {
      add("getVideoUrl", videoFile(video, format));
    }
    add("getLivePhotoUrl", livePhotoFile(livePhoto));
    return all;
  }

  struct Stored {
    fs::path path;    ///< relative to the originals
    fs::path target;  ///< of the same kind, outside
  };
  std::vector<Stored> stored() const {
    return {{original("IMG_0002.jpg", 1), outside() / "photo"},
            {original("MOVIE.mov", 2), outside() / "video"},
            {original("IMG_0011.MOV", 9), outside() / "motion"}};
  }

 private:
  std::vector<std::string> before_;
};

TEST_F(PlantedLibrary, AnswersForOriginalsThatAreNoFilesOfItsOwnAsForMissingOnes) {
  const auto files = stored();
  const auto place = [this](const Stored& each) {
    return library.path() / "originals" / each.path;
  };
  for (const Stored& each : files) fs::remove(place(each));
  const auto missing = errors();
  for (const Stored& each : files) fs::create_symlink(each.target, place(each));
  EXPECT_EQ(errors(), missing) << "links";
  for (const Stored& each : files) {
    fs::remove(place(each));
    ASSERT_EQ(::mkfifo(place(each).c_str(), 0600), 0);
  }
  EXPECT_EQ(errors(), missing) << "FIFOs, for which nobody waits";
  for (const Stored& each : files) {
    fs::remove(place(each));
    fs::create_directory(place(each));
  }
  EXPECT_EQ(errors(), missing) << "folders";
  // The other half of the live photo goes as well.
  for (const Stored& each : files) fs::remove_all(place(each).parent_path());
  const auto gone = errors();
  for (const Stored& each : files) {
    fs::create_directory(outside() / each.path.parent_path());
    fs::rename(each.target, outside() / each.path);
    fs::create_directory_symlink(outside() / each.path.parent_path(), place(each).parent_path());
  }
  EXPECT_EQ(errors(), gone) << "folders that are links";
  for (const Stored& each : files) {
    fs::rename(outside() / each.path, each.target);
    fs::remove(outside() / each.path.parent_path());
  }
}

TEST_F(PlantedLibrary, AnswersForRowsThatLeadElsewhereAsForMissingOriginals) {
  const auto files = stored();
  // What a link in the middle of such a path would have to get through.
  fs::create_directory(library.path() / "originals" / "edited");
  for (const Stored& each : files) {
    fs::copy_file(each.target, library.path() / "originals" / "edited" / each.target.filename());
    fs::remove(library.path() / "originals" / each.path);
  }
  const auto missing = errors();
  for (const std::string& prefix :
       {std::string("../../outside/"), outside().string() + "/", std::string("edited/"),
        std::string("edited/../../../outside/"), std::string("./edited/")}) {
    for (const Stored& each : files) {
      sql("UPDATE resources SET path = '" + prefix + each.target.filename().string() +
          "' WHERE name = (SELECT name FROM resources WHERE path = '" + each.path.string() +
          "' OR path LIKE '%/" + each.target.filename().string() + "')");
    }
    EXPECT_EQ(errors(), missing) << prefix;
  }
}

TEST_F(PlantedLibrary, ExportsNothingOutOfTheTemporaryDirectory) {
  sql("UPDATE resources SET name = '../../outside/photo' WHERE name = 'IMG_0002.jpg'");
  sql("UPDATE resources SET name = '../../outside/video' WHERE name = 'MOVIE.mov'");
  sql("UPDATE resources SET name = '../../outside/motion' WHERE name = 'IMG_0011.HEIC'");
  const auto assets = channel.assetsByName();
  const std::string photo = assets.at("../../outside/photo");
  for (const bool convert : {false, true}) {
    EXPECT_EQ(channel.error("getImageUrl", imageFile(photo, convert)).code, "Error");
    EXPECT_EQ(channel.error("getImageUrl", imageFile(photo, convert, true)).code, "Error");
  }
  EXPECT_EQ(
      channel.error("getVideoUrl", videoFile(assets.at("../../outside/video"), Format::mp4)).code,
      "Error");
  EXPECT_EQ(channel.error("getLivePhotoUrl", livePhotoFile(assets.at("../../outside/motion"))).code,
            "Error");
}

TEST_F(PlantedLibrary, ExportsNothingThroughLinksInTheTemporaryDirectory) {
  fs::create_directories(channel.temporary());
  for (const char* name : {"image", "video", "livephoto"}) {
    fs::create_directory_symlink(outside(), channel.temporary() / name);
  }
  EXPECT_EQ(channel.error("getImageUrl", imageFile(channel.asset("IMG_0002.jpg"))).message,
            "Create temp dir failed");
  EXPECT_EQ(
      channel.error("getVideoUrl", videoFile(channel.asset("MOVIE.mov"), Format::mp4)).message,
      "Failed to create temp video folder");
  EXPECT_EQ(channel.error("getLivePhotoUrl", livePhotoFile(channel.asset("IMG_0011.HEIC"))).message,
            "Failed to create temp directory");
}

TEST_F(PlantedLibrary, ReplacesLinksInTheTemporaryDirectoryByItsExports) {
  const fs::path earlier = channel.image("IMG_0002.jpg");
  const std::string bytes = bytesOf(earlier);
  for (const fs::path& target : {outside() / "photo", outside() / "nowhere"}) {
    fs::remove(earlier);
    fs::create_symlink(target, earlier);
    EXPECT_EQ(channel.image("IMG_0002.jpg"), earlier);
    EXPECT_FALSE(fs::is_symlink(earlier));
    EXPECT_EQ(bytesOf(earlier), bytes);
  }
  const fs::path motion =
      channel.exported("getLivePhotoUrl", livePhotoFile(channel.asset("IMG_0011.HEIC")));
  fs::remove(motion);
  fs::create_symlink(outside() / "nowhere", motion);
  EXPECT_EQ(channel.exported("getLivePhotoUrl", livePhotoFile(channel.asset("IMG_0011.HEIC"))),
            motion);
  EXPECT_FALSE(fs::is_symlink(motion));
}

TEST_F(PlantedLibrary, SavesNoFileThatLiesInIt) {
  const auto before = library.everything();
  const fs::path photo = library.path() / "originals" / original("IMG_0002.jpg", 1);
  const fs::path video = library.path() / "originals" / original("MOVIE.mov", 2);
  const auto refusal = [](const std::string& method, const fs::path& file) {
    return FlutterError{"Error", method == "saveImage" ? "Save image error" : "Save video error",
                        Value("The file “" + file.filename().string() +
                              "” cannot be saved: it lies in the library itself."
                              " (QuorvinLibraryErrorDomain error 3302.)")};
  };
  EXPECT_EQ(library.saveError("saveImage", photo), refusal("saveImage", photo));
  EXPECT_EQ(library.saveError("saveVideo", video), refusal("saveVideo", video));
  fs::create_symlink(photo, channel.folder() / "link.jpg");
  EXPECT_EQ(library.saveError("saveImage", channel.folder() / "link.jpg"),
            refusal("saveImage", channel.folder() / "link.jpg"));
  fs::create_directory_symlink(library.path(), channel.folder() / "other");
  EXPECT_EQ(library.saveError("saveImage",
                              channel.folder() / "other/originals" / original("IMG_0002.jpg", 1)),
            refusal("saveImage", photo));
  for (const char* name : {"library.sqlite", "library.sqlite-wal", "library.lock"}) {
    EXPECT_EQ(library.saveError("saveImage", library.path() / name),
              refusal("saveImage", library.path() / name));
  }
  EXPECT_EQ(library.everything(), before);
}

// Closing it would give up the locks that the process has on the catalogue.
TEST_F(PlantedLibrary, OpensNoOtherNameOfItsCatalogue) {
  std::error_code error;
  fs::create_hard_link(library.path() / "library.sqlite", channel.folder() / "photo.jpg", error);
  if (error) GTEST_SKIP() << "needs a file system with hard links";
  EXPECT_EQ(library.saveError("saveImage", channel.folder() / "photo.jpg").details,
            Value("The file “photo.jpg” cannot be saved: it lies in the library itself."
                  " (QuorvinLibraryErrorDomain error 3302.)"));
  library.createAlbum("kept");
  EXPECT_EQ(sql("SELECT count(*) FROM collections WHERE title = 'kept'"), "1\n");
}

}  // namespace
}  // namespace quorvin
