// Changes that fail: bad files, missing permission, and places that take nothing.
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>
#include <functional>

#include "testing/engine/library_copy.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class ChangeFaults : public testing::Test {
 protected:
  LibraryCopy library;

  /// The call fails with one sentence about this file, and nothing is added.
  void expectRefused(const std::string& method, const fs::path& file, const std::string& name,
                     const std::string& ending) {
    SCOPED_TRACE(method + " " + file.string());
    const FlutterError reply = library.saveError(method, file);
    EXPECT_EQ(reply.code, "Error");
    EXPECT_EQ(reply.message, method == "saveImage" ? "Save image error" : "Save video error");
    const std::string details(reply.details.text());
    EXPECT_TRUE(details.starts_with("The file “" + name + "” cannot be saved: ")) << details;
    EXPECT_TRUE(details.ends_with(" (QuorvinLibraryErrorDomain error " + ending + ".)")) << details;
  }
  void expectRefusedByBoth(const fs::path& file, const std::string& name,
                           const std::string& ending) {
    expectRefused("saveImage", file, name, ending);
    expectRefused("saveVideo", file, name, ending);
  }

  void TearDown() override {
    if (before_.empty()) return;
    EXPECT_EQ(library.everything(), before_) << "something was added";
    library.reopen();  // the engine that failed ends
    EXPECT_EQ(library.everything(), before_);
    EXPECT_TRUE(filesIn(library.path() / "incoming").empty());
  }
  /// From now on the library must stay as it is.
  void keepAsItIs() { before_ = library.everything(); }

  /// The error of a call on another engine.
  FlutterError errorOf(QuorvinEngine* engine, const std::string& method, Value arguments) {
    return library.channel.engines.error(engine, method, std::move(arguments));
  }

 private:
  Names before_;
};

TEST_F(ChangeFaults, AMissingFileIsNamed) {
  keepAsItIs();
  expectRefusedByBoth(library.channel.folder() / "none.jpg", "none.jpg", "3303");
  expectRefusedByBoth(kGoodMedia / "IMG_0001.jpg" / "inner.jpg", "inner.jpg", "3303");
  expectRefusedByBoth("relative/none.jpg", "none.jpg", "3303");
  expectRefusedByBoth("file://" + (kGoodMedia / "IMG_0001.jpg").string(), "IMG_0001.jpg", "3303");
  fs::create_symlink("nowhere", library.channel.folder() / "dangling.jpg");
  expectRefusedByBoth(library.channel.folder() / "dangling.jpg", "dangling.jpg", "3303");
}

TEST_F(ChangeFaults, AnEmptyPathIsRefused) {
  keepAsItIs();
  for (const char* method : {"saveImage", "saveVideo"}) {
    EXPECT_NE(library.saveError(method, "").details.text(), "");
  }
}

TEST_F(ChangeFaults, APathThatNoFileCanHaveIsRefused) {
  keepAsItIs();
  for (const std::string& path : {"/" + std::string(5000, 'x'),
                                  (library.channel.folder() / std::string(300, 'n')).string()}) {
    for (const char* method : {"saveImage", "saveVideo"}) {
      EXPECT_NE(library.saveError(method, path).details.text(), "") << path.size();
    }
  }
}

TEST_F(ChangeFaults, APathWithAZeroByteNamesNoOtherFile) {
  keepAsItIs();
  // The system reads up to the zero byte, and would take a file that nobody named.
  const std::string image = kGoodMedia / "NO_DATE.jpg";
  EXPECT_EQ(library.saveError("saveImage", image + std::string(1, '\0') + ".jpg").message,
            "Save image error");
}

TEST_F(ChangeFaults, WhatIsNoRegularFileIsNamedWithoutWaiting) {
  keepAsItIs();
  fs::create_directory(library.channel.folder() / "folder.jpg");
  expectRefusedByBoth(library.channel.folder() / "folder.jpg", "folder.jpg", "3302");
  ASSERT_EQ(::mkfifo((library.channel.folder() / "pipe.jpg").c_str(), 0600), 0);
  expectRefusedByBoth(library.channel.folder() / "pipe.jpg", "pipe.jpg", "3302");
  expectRefusedByBoth("/dev/zero", "zero", "3302");
  expectRefusedByBoth("/dev/null", "null", "3302");
}

TEST_F(ChangeFaults, WhatIsNoMediaIsNamed) {
  keepAsItIs();
  for (const char* name :
       {"empty.jpg", "text.jpg", "vector.jpg", "noise.heic", "script.mov", "playlist.mp4"}) {
    expectRefusedByBoth(kBadMedia / name, name, "3302");
  }
}

TEST_F(ChangeFaults, DamagedMediaIsNamed) {
  keepAsItIs();
  expectRefused("saveImage", kBadMedia / "truncated.heic", "truncated.heic", "3302");
  expectRefused("saveImage", kBadMedia / "header_only.png", "header_only.png", "3302");
  expectRefused("saveVideo", kBadMedia / "truncated.mov", "truncated.mov", "3302");
}

TEST_F(ChangeFaults, AFileOfTheOtherKindIsNamedWhateverItsSuffix) {
  keepAsItIs();
  for (const char* name : {"MOVIE.mov", "CLIP.mp4", "capture.mkv", "memo.m4a", "song.mp3"}) {
    expectRefused("saveImage", kGoodMedia / name, name, "3302");
  }
  for (const char* name :
       {"IMG_0001.jpg", "IMG_0010.HEIC", "still.avif", "animation.gif", "memo.m4a", "song.mp3"}) {
    expectRefused("saveVideo", kGoodMedia / name, name, "3302");
  }
  expectRefused("saveImage", kBadMedia / "movie_named.heic", "movie_named.heic", "3302");
  expectRefused("saveVideo", kBadMedia / "jpeg_named.mov", "jpeg_named.mov", "3302");
}

TEST_F(ChangeFaults, AFileThatMayNotBeReadIsNamed) {
  const fs::path file = library.incoming(kGoodMedia / "NO_DATE.jpg", "secret.jpg");
  fs::permissions(file, fs::perms::none);
  if (std::ifstream(file).is_open()) GTEST_SKIP() << "root may read everything";
  keepAsItIs();
  expectRefusedByBoth(file, "secret.jpg", "3302");
}

TEST_F(ChangeFaults, AFailedSaveDoesNotHinderTheNext) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(library.saveError("saveImage", kBadMedia / "truncated.heic").message,
              "Save image error");
    library.save("saveImage", kGoodMedia / "NO_DATE.jpg");
  }
}

TEST_F(ChangeFaults, WithoutAuthorisationNothingChanges) {
  const std::string album = library.channel.gallery("Holidays");
  const std::string id = library.recents().front();
  const std::string file = kGoodMedia / "NO_DATE.jpg";
  keepAsItIs();
  for (const int status : {0, 1, 2}) {
    const EnginePointer denied = library.channel.engines.openLibrary(library.path(), status);
    const std::string code = status == 1 ? "3310" : "3311";
    const auto expectFault = [&](const std::string& method, Value arguments,
                                 const std::string& message) {
      const FlutterError reply = errorOf(denied.get(), method, std::move(arguments));
      EXPECT_EQ(reply.message, message);
      const std::string details(reply.details.text());
      EXPECT_TRUE(details.ends_with(" error " + code + ".)")) << details;
    };
    expectFault("createAlbum", Map{{"title", "New"}}, "Create album error");
    expectFault("deleteAssets", assetIds({id}), "Deleting assets error");
    expectFault("deleteAssets", assetIds({}), "Deleting assets error");
    expectFault("saveImage", Map{{"filePath", file}}, "Save image error");
    expectFault("saveVideo", Map{{"filePath", file}}, "Save video error");
    EXPECT_EQ(errorOf(denied.get(), "saveImage", Map{{"filePath", file}, {"collectionId", album}})
                  .details,
              Value("Collection not found"));
  }
}

TEST_F(ChangeFaults, AReadOnlyPlaceForIncomingFilesRefusesThemAlone) {
  const std::string incoming = library.path() / "incoming";
  const Names before = library.everything();
  if (::mount("none", incoming.c_str(), "tmpfs", MS_RDONLY, "size=1m") != 0) {
    GTEST_SKIP() << "needs to mount a volume";
  }
  for (const auto& [method, name, message] :
       {std::tuple("saveImage", "NO_DATE.jpg", "Save image error"),
        std::tuple("saveVideo", "CLIP.mp4", "Save video error")}) {
    const FlutterError reply = library.saveError(method, kGoodMedia / name);
    EXPECT_EQ(reply.message, message);
    EXPECT_NE(reply.details.text().find("Read-only"), std::string::npos) << reply.details.text();
  }
  EXPECT_EQ(library.everything(), before);
  EXPECT_EQ(library.total(library.createAlbum("New")), 0);
  ::umount2(incoming.c_str(), MNT_DETACH);
  library.save("saveImage", kGoodMedia / "NO_DATE.jpg");
}

TEST_F(ChangeFaults, AFullVolumeKeepsWhatItHasAndTakesMoreOnceThereIsRoom) {
  SmallVolume volume("size=64m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const fs::path place = volume / "library";
  fs::copy(QUORVIN_IMPORTED_LIBRARY, place, fs::copy_options::recursive);
  library.channel.use(place);
  const Names before = library.recents();
  const Names files = filesIn(place / "originals");
  // All but about 100 KiB is taken.
  const fs::path ballast = volume / "ballast";
  {
    std::ofstream out(ballast, std::ios::binary);
    const std::string block(4096, 'x');
    for (auto left = fs::space(volume.path()).available; left > 100'000; left -= 4096) out << block;
  }
  const FlutterError full = library.saveError("saveImage", kGoodMedia / "PANORAMA.jpg");
  EXPECT_EQ(full.message, "Save image error");
  const std::string details(full.details.text());
  EXPECT_NE(details.find("“PANORAMA.jpg”"), std::string::npos) << details;
  EXPECT_TRUE(details.ends_with(" error 3305.)")) << details;
  EXPECT_EQ(library.recents(), before);
  EXPECT_EQ(filesIn(place / "originals"), files);
  fs::remove(ballast);
  library.save("saveImage", kGoodMedia / "PANORAMA.jpg");
  EXPECT_EQ(library.recents().size(), before.size() + 1);
}

}  // namespace
}  // namespace quorvin
