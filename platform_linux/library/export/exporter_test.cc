#include "platform_linux/library/export/exporter.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "testing/platform/testing_export.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct Exporting : testing::Test, ExportFixture {};

constexpr std::int64_t kDay = 86'400'000'000'000;

using Names = std::vector<std::string>;

TEST_F(Exporting, WritesEachAssetAsFilesByDateWithWhatIsKnownOfIt) {
  put("IMG_1.JPG", "image date=" + std::to_string(20 * kDay));
  put("IMG_2.HEIC", "image date=" + std::to_string(50 * kDay));
  put("IMG_2.MOV", "video");
  importAll();
  Gardener(libraryPath()).run("UPDATE assets SET favorite = 1, hidden = 1 WHERE id = 1");
  const ExportReport report = exported();
  EXPECT_EQ(report.assets, 2);
  EXPECT_EQ(report.files, 5);
  EXPECT_EQ(report.newFiles, 5);
  EXPECT_EQ(names(), (Names{"1970/01/IMG_1.JPG", "1970/01/IMG_1.JPG.xmp", "1970/02/IMG_2.HEIC",
                            "1970/02/IMG_2.HEIC.xmp", "1970/02/IMG_2.MOV"}));
  EXPECT_EQ(at("1970/01/IMG_1.JPG"), "image date=" + std::to_string(20 * kDay));
  const std::string modified =
      Gardener(libraryPath()).text("SELECT modified_ns FROM assets WHERE id = 1");
  EXPECT_EQ(at("1970/01/IMG_1.JPG.xmp"),
            "side kind=xmp date=" + std::to_string(20 * kDay) +
                " favorite part=1:IMG_1.JPG:IMG_1.JPG modified=" + modified + " hidden ");
  EXPECT_NE(at("1970/02/IMG_2.HEIC.xmp").find("part=1:IMG_2.HEIC:IMG_2.HEIC part=9:IMG_2.MOV:"),
            std::string::npos);
}

TEST_F(Exporting, GoesOnFromTheNewestXmpThatTheLibraryKept) {
  const auto at = [](int hour) {
    return fs::file_time_type::clock::now() + std::chrono::hours(hour);
  };
  put("a.jpg", "image date=5");
  fs::last_write_time(put("a.jpg.xmp", "side kind=xmp label=old"), at(0));
  fs::last_write_time(put("a.xmp", "side kind=xmp label=new"), at(1));
  importAll();
  exported();
  EXPECT_NE(this->at("1970/01/a.jpg.xmp").find("label=new"), std::string::npos);
}

TEST_F(Exporting, FilesMayBeChangedAndKeepTheirDate) {
  put("a.jpg", "image date=5");
  importAll();
  Gardener(libraryPath()).run("UPDATE assets SET modified_ns = -1500000000");
  const mode_t before = ::umask(0022);
  exported();
  ::umask(before);
  struct stat status = {};
  ASSERT_EQ(::stat((target() + "/1970/01/a.jpg").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644U);
  EXPECT_EQ(status.st_mtim.tv_sec, -2);
  EXPECT_EQ(status.st_mtim.tv_nsec, 500'000'000);
}

TEST_F(Exporting, NumbersWhatWouldHaveOneName) {
  put("x/IMG_1.JPG", "image date=5 one");
  put("y/img_1.jpg", "image date=5 two");
  put("z/IMG_1.MOV", "video date=5");
  put("z/IMG_1 (2).JPG", "image date=5 three");
  import({folder / "in/x"});
  import({folder / "in/y"});
  import({folder / "in/z/IMG_1.MOV"});
  import({folder / "in/z"});
  exported();
  EXPECT_EQ(names(),
            (Names{"1970/01/IMG_1 (2) (2).JPG", "1970/01/IMG_1 (2) (2).JPG.xmp",
                   "1970/01/IMG_1 (3).MOV", "1970/01/IMG_1 (3).MOV.xmp", "1970/01/IMG_1.JPG",
                   "1970/01/IMG_1.JPG.xmp", "1970/01/img_1 (2).jpg", "1970/01/img_1 (2).jpg.xmp"}));
}

TEST_F(Exporting, CopiesNothingTwice) {
  put("a.jpg", "image date=5");
  put("b.jpg", "image date=6");
  importAll();
  exported();
  EXPECT_EQ(exported().newFiles, 0);
  Gardener(libraryPath()).run("UPDATE assets SET favorite = 1 WHERE id = 1");
  EXPECT_EQ(exported().newFiles, 1) << "what is told of it has changed";
  EXPECT_NE(at("1970/01/a.jpg.xmp").find("favorite"), std::string::npos);
  fs::remove(target() + "/1970/01/b.jpg");
  EXPECT_EQ(exported().newFiles, 1);
  EXPECT_EQ(names().size(), 4U);
}

TEST_F(Exporting, GoesOnWithAnExportOfWhichNothingWasListed) {
  put("a.jpg", "image date=5");
  importAll();
  exported();
  fs::remove(target() + "/" + kExportList);
  EXPECT_EQ(exported().newFiles, 0);
}

TEST_F(Exporting, LeavesFilesOfOthersAlone) {
  put("a.jpg", "image date=5");
  importAll();
  writeFile(target() + "/1970/01/a.jpg", "precious");
  writeFile(target() + "/1970/01/A (2).png", "precious too");
  exported();
  EXPECT_EQ(at("1970/01/a.jpg"), "precious");
  EXPECT_EQ(at("1970/01/A (2).png"), "precious too");
  EXPECT_NE(at("1970/01/a (3).jpg").find("image"), std::string::npos);
  EXPECT_EQ(exported().newFiles, 0);
}

TEST_F(Exporting, AnExportedFileThatSomebodyChangedStays) {
  put("a.jpg", "image date=5");
  importAll();
  exported();
  writeFile(target() + "/1970/01/a.jpg", "image of mine");
  exported();
  EXPECT_EQ(at("1970/01/a.jpg"), "image of mine");
  EXPECT_EQ(at("1970/01/a (2).jpg"), "image date=5");
}

TEST_F(Exporting, WritesAFolderForEachAlbum) {
  put("a.jpg", "image date=5");
  put("b.jpg", "image date=6");
  put("c.jpg", "image date=7");
  import({folder / "in/a.jpg"}, "Sea/Sky");
  import({folder / "in/b.jpg"}, "Best");
  import({folder / "in/c.jpg"});
  import({folder / "in/a.jpg"}, "Best");
  exported({.layout = ExportOptions::Layout::album});
  EXPECT_EQ(names(), (Names{"1970/01/c.jpg", "1970/01/c.jpg.xmp", "Best/b.jpg", "Best/b.jpg.xmp",
                            "Sea_Sky/a.jpg", "Sea_Sky/a.jpg.xmp"}));
  EXPECT_NE(at("Sea_Sky/a.jpg.xmp").find("album=Sea/Sky album=Best"), std::string::npos);
}

TEST_F(Exporting, TakesOneAlbumAlone) {
  put("a.jpg", "image date=5");
  put("b.jpg", "image date=6");
  import({folder / "in/a.jpg"}, "Sea");
  importAll();
  exported({.album = "Sea"});
  EXPECT_EQ(names(), (Names{"1970/01/a.jpg", "1970/01/a.jpg.xmp"}));
  const auto unknown = tryExport({.album = "Lake"});
  ASSERT_FALSE(unknown);
  EXPECT_EQ(unknown.error().sentence(), "There is no album “Lake”; quorvin info lists them.");
}

TEST_F(Exporting, ListsAlbumsAndFilesInTheirOrder) {
  put("b.jpg", "image date=5");
  put("a.jpg", "image date=6");
  import({folder / "in/b.jpg"}, "Sea");
  importAll();
  Gardener(libraryPath()).plantAlbum("Empty");
  exported();
  const ExportList list = readExportList(readFile(target() + "/" + kExportList));
  ASSERT_EQ(list.assets.size(), 2U);
  EXPECT_EQ(list.albums,
            (std::vector<ListedAlbum>{{"Sea", {list.assets[0].identifier}}, {"Empty", {}}}));
  EXPECT_EQ(list.assets[0].files[0].path, "1970/01/b.jpg");
  EXPECT_EQ(list.assets[0].files[1].path, "1970/01/b.jpg.xmp");
  EXPECT_EQ(list.assets[1].files[0].path, "1970/01/a.jpg");
  EXPECT_EQ(list.assets[0].files[0].size, static_cast<std::int64_t>(at("1970/01/b.jpg").size()));
}

TEST_F(Exporting, LeavesOutWhatIsDeletedAndTakesWhatIsHiddenOrInABurst) {
  put("a.jpg", "image date=5");
  put("b.jpg", "image date=6 burst=B primary");
  put("c.jpg", "image date=7 burst=B");
  put("d.jpg", "image date=8");
  importAll();
  Gardener(libraryPath()).run("UPDATE assets SET hidden = 1 WHERE id = 1");
  Gardener(libraryPath()).run("UPDATE assets SET trashed_ns = 5 WHERE id = 4");
  EXPECT_EQ(exported().assets, 3);
  EXPECT_NE(at("1970/01/b.jpg.xmp").find("burst=B primary represents chosen="), std::string::npos);
  EXPECT_FALSE(fs::exists(target() + "/1970/01/d.jpg"));
}

TEST_F(Exporting, TheMovieOfAMotionPhotoStaysInIt) {
  const std::string photo = "image date=5 movieat=60 moviesize=10 ";
  put("a.jpg", photo + std::string(60 - photo.size(), 'x') + "0123456789 end");
  importAll();
  ASSERT_EQ(Gardener(libraryPath()).integer("SELECT count(*) FROM resources"), 2);
  exported();
  EXPECT_EQ(names(), (Names{"1970/01/a.jpg", "1970/01/a.jpg.xmp"}));
}

TEST_F(Exporting, WhatSideFilesSayStaysInThem) {
  put("a.jpg", "image date=5");
  put("a.xmp", "side kind=xmp title=Seen_at_sea");
  put("a.jpg.json", "side kind=takeout title=a.jpg");
  importAll();
  exported();
  EXPECT_EQ(names(), (Names{"1970/01/a.jpg", "1970/01/a.jpg.json", "1970/01/a.jpg.xmp"}));
  EXPECT_NE(at("1970/01/a.jpg.xmp").find(" side kind=xmp title=Seen_at_sea"), std::string::npos);
  EXPECT_EQ(at("1970/01/a.jpg.json"), "side kind=takeout title=a.jpg");
}

TEST_F(Exporting, OfFewerFilesThanBeforeLeavesTheOthersWhereTheyAre) {
  put("IMG_1.JPG", "image date=5");
  put("IMG_E1.JPG", "image date=5 edited");
  put("IMG_1.AAE", "side kind=adjustment");
  importAll();
  exported();
  const Names all{"1970/01/IMG_1.AAE", "1970/01/IMG_1.JPG", "1970/01/IMG_1.JPG.xmp",
                  "1970/01/IMG_E1.jpg"};
  EXPECT_EQ(names(), all);
  exported({.parts = ExportParts::original});
  EXPECT_EQ(names(), all);
  EXPECT_EQ(readExportList(readFile(target() + "/" + kExportList)).assets[0].files.size(), 4U);
  exported({.parts = ExportParts::current});
  EXPECT_EQ(at("1970/01/IMG_1.JPG"), "image date=5");
  EXPECT_EQ(at("1970/01/IMG_1 (2).jpg"), "image date=5 edited");
}

TEST_F(Exporting, KeepsTheNumberThatAnAssetHas) {
  put("a.jpg", "image date=5");
  importAll();
  writeFile(target() + "/1970/01/a.jpg", "precious");
  exported();
  fs::remove(target() + "/1970/01/a.jpg");
  EXPECT_EQ(exported().newFiles, 0);
  EXPECT_EQ(names(), (Names{"1970/01/a (2).jpg", "1970/01/a (2).jpg.xmp"}));
}

TEST_F(Exporting, EndsOnAFullDiskAndGoesOnWhenThereIsRoom) {
  SmallVolume volume("size=2m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  put("a.jpg", "image date=5");
  put("b.jpg", "image date=6 " + std::string(3'000'000, '.'));
  put("c.jpg", "image date=7");
  importAll();
  const auto full = exportLibrary(libraryPath(), media, volume / "out", {});
  ASSERT_TRUE(full) << full.error().sentence();
  ASSERT_TRUE(full->ended);
  EXPECT_NE(full->ended->find("No space"), std::string::npos) << *full->ended;
  EXPECT_EQ(full->assets, 1);
  EXPECT_TRUE(fs::exists(volume / "out/1970/01/a.jpg"));
  EXPECT_FALSE(fs::exists(volume / "out/1970/01/b.jpg"));
  for (const std::string& name : filesBelow(volume / "out")) {
    EXPECT_TRUE(name.starts_with("1970/01/a.jpg") || name.starts_with(kExportList)) << name;
  }
}

TEST_F(Exporting, EndsWhenItIsAskedToAndGoesOnTheNextTime) {
  for (int i = 0; i < 5; ++i) {
    put("a" + std::to_string(i) + ".jpg", "image date=5 " + std::to_string(i));
  }
  importAll();
  std::stop_source stop;
  int done = 0;
  ExportOptions options{.stop = stop.get_token()};
  options.assetDone = [&] {
    if (++done == 2) stop.request_stop();
  };
  const auto report = tryExport(options);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->ended, "it was interrupted.");
  EXPECT_EQ(report->assets, 2);
  EXPECT_EQ(names().size(), 4U);
  EXPECT_EQ(exported().newFiles, 6);
  EXPECT_EQ(names().size(), 10U);
}

}  // namespace
}  // namespace quorvin
