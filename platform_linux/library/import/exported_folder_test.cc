#include "platform_linux/library/import/exported_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "platform_linux/library/export/exporter.h"
#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct ExportedAndImported : testing::Test, ImportFixture {
  std::string out() const { return folder / "out"; }
  void exportAll() {
    const auto report = exportLibrary(libraryPath(), media, out(), {});
    ASSERT_TRUE(report) << report.error().sentence();
    EXPECT_TRUE(report->problems.empty());
    fs::rename(libraryPath(), folder / "before");
  }
  std::string names() const {
    return Gardener(libraryPath())
        .text("SELECT name FROM resources WHERE type < 1000 ORDER BY asset, pos");
  }
  std::string albums() const {
    return Gardener(libraryPath())
        .text("SELECT title FROM collections WHERE type = 1 ORDER BY pos, id");
  }
};

TEST_F(ExportedAndImported, AssetsAndAlbumsKeepTheirOrder) {
  put("b.jpg", "image date=9000000000000000");
  put("a.jpg", "image date=5");
  put("c.jpg", "image date=4000000000000000");
  import({folder / "in/b.jpg"}, "Sea");
  import({folder / "in/c.jpg"}, "Air");
  importAll();
  Gardener(libraryPath()).plantAlbum("Empty");
  const std::string before = names();
  const std::string albumsBefore = albums();
  exportAll();
  import({out() + "/"});
  EXPECT_EQ(names(), before);
  EXPECT_EQ(albums(), albumsBefore);
}

TEST_F(ExportedAndImported, AlbumsOfOneTitleKeepTheirMembersInTheirOrder) {
  for (const char* name : {"a.jpg", "b.jpg", "c.jpg"}) put(name, std::string("image ") + name);
  importAll();
  import({folder / "in/c.jpg"}, "Sea");
  import({folder / "in/a.jpg"}, "Sea");
  {
    Gardener gardener(libraryPath());
    gardener.addToAlbum(gardener.plantAlbum("Sea"),
                        gardener.text("SELECT ident FROM assets WHERE id = 2"));
  }
  constexpr const char* kMembers =
      "SELECT title, name FROM members JOIN resources USING (asset) JOIN collections"
      " ON collections.id = collection WHERE resources.type = 1"
      " ORDER BY collections.pos, collections.id, members.pos";
  const std::string before = Gardener(libraryPath()).text(kMembers);
  EXPECT_EQ(before, "Seac.jpgSeaa.jpgSeab.jpg");
  exportAll();
  import({out()});
  EXPECT_EQ(Gardener(libraryPath()).text(kMembers), before);
}

TEST_F(ExportedAndImported, FilesBesideAnExportComeInTheirOwnOrder) {
  put("b.jpg", "image date=5");
  put("a.jpg", "image date=6");
  import({folder / "in/b.jpg"});
  importAll();
  exportAll();
  put("0.jpg", "image first");
  writeFile(out() + "/0.jpg", "image behind what is listed");
  writeFile(folder / "x.jpg", "image named");
  import({folder / "in/0.jpg", out(), folder / "x.jpg"});
  EXPECT_EQ(names(), "0.jpgb.jpga.jpg0.jpgx.jpg");
}

TEST_F(ExportedAndImported, ListsAboveWhatIsNamedAreNotRead) {
  put("a.jpg", "image date=5");
  importAll();
  Gardener(libraryPath()).plantAlbum("Empty");
  exportAll();
  import({out() + "/1970"});
  EXPECT_EQ(names(), "a.jpg");
  EXPECT_EQ(albums(), "");
}

}  // namespace
}  // namespace quorvin
