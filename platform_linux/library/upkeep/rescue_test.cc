// Catalogues that are lost in part or as a whole, and what a repair makes of what is left.
#include "platform_linux/library/upkeep/rescue.h"

#include <gtest/gtest.h>

#include <array>

#include "platform_linux/library/snapshots/snapshot.h"
#include "platform_linux/library/upkeep/check.h"
#include "testing/platform/testing_changes.h"
#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kPage = 4096;

/// What a library holds, as text.
struct Holdings {
  std::string assets;
  std::string originals;
  std::string albums;
  friend bool operator==(const Holdings&, const Holdings&) = default;
};
void PrintTo(const Holdings& held, std::ostream* out) {
  *out << held.assets << "\n" << held.originals << "\n" << held.albums;
}

struct Rescue : testing::Test {
  Rescue() {
    ChangeFixture test;
    const std::string still = "image movieat=64 moviesize=5 ";
    for (const char* name : {"live 1.jpg", "live 2.jpg"}) {
      std::string content = still + name;
      content.resize(64, ' ');
      EXPECT_TRUE(test.saveImage(test.put(name, content + "movie")).success);
    }
    const std::string favorite = test.saved;
    ScriptedMedia media;
    ImportListener listener;
    const ImportOptions burst{
        .paths = {test.put("b 1.jpg", "image burst=B 1"), test.put("b 2.jpg", "image burst=B 2")},
        .albumTitle = {}};
    EXPECT_TRUE(importIntoLibrary(test.folder / "library", media, burst, listener));
    EXPECT_TRUE(test.saveVideo(test.put("film.mov", "video")).success);
    const std::string film = test.saved;
    EXPECT_TRUE(test.saveImage(test.put("deleted.jpg", "image of nothing")).success);
    EXPECT_TRUE(test.deleteAssets({test.saved}).success);
    const std::string album = test.gardener.plantAlbum("Holidays");
    test.gardener.addToAlbum(album, film);
    test.gardener.addToAlbum(album, favorite);
    test.gardener.run("UPDATE assets SET favorite = 1 WHERE ident = '" + favorite + "'");
    test.gardener.run("UPDATE assets SET hidden = 1 WHERE ident = '" + film + "'");
    test.gardener.run("UPDATE meta SET value = 2");
    test.changes.reset();
    test.library.reset();
    fs::rename(test.folder / "library", place());
    whole_ = readFile(catalogue());
    for (const std::string& path : snapshots()) fs::remove(place() + "/" + path);
    makeSnapshotNow();
    before_ = holdings();
  }

  std::string place() const { return folder_ / "library"; }
  std::string catalogue() const { return place() + "/library.sqlite"; }
  LibraryFolder held() const { return *libraryFolderAt(place()); }
  std::vector<std::string> snapshots() const { return snapshotsOf(held()); }
  void makeSnapshotNow() const {
    const auto library = Library::open({.path = place()});
    const auto shared = (*library)->catalogue();
    Catalogue::Reader reader = shared->reader();
    EXPECT_TRUE(makeSnapshot(shared->folder(), *reader));
  }

  Holdings holdings() const {
    Gardener gardener(place());
    return {gardener.text("SELECT group_concat(x, char(10)) FROM (SELECT ident || ' ' || media_type"
                          " || ' ' || subtypes || ' ' || width || ' ' || height || ' ' || duration"
                          " || ' ' || coalesce(created_ns, '-') || ' ' || modified_ns || ' ' ||"
                          " added_ns || ' ' || favorite || ' ' || hidden || ' ' ||"
                          " coalesce(burst_id, '-') || represents || ' ' ||"
                          " coalesce(trashed_ns, '-') AS x FROM assets ORDER BY ident)"),
            gardener.text("SELECT group_concat(x, char(10)) FROM (SELECT a.ident || ' ' || r.type"
                          " || ' ' || r.name || ' ' || r.uti || ' ' || r.path || ' ' || r.size ||"
                          " ' ' || hex(r.hash) AS x FROM resources AS r JOIN assets AS a"
                          " ON a.id = r.asset ORDER BY r.path)"),
            gardener.text("SELECT group_concat(x, char(10)) FROM (SELECT c.ident || ' ' || c.title"
                          " || ' ' || coalesce(a.ident, '-') AS x FROM collections AS c LEFT JOIN"
                          " members AS m ON m.collection = c.id LEFT JOIN assets AS a"
                          " ON a.id = m.asset WHERE c.type = 1 ORDER BY c.ident, m.pos)")};
  }

  /// Runs the repair; the library is sound afterwards, and every original is an asset's.
  CheckReport repair() const {
    const auto report = checkLibrary(place(), {.repair = true});
    EXPECT_TRUE(report) << report.error().sentence();
    const auto after = checkLibrary(place(), {});
    EXPECT_TRUE(after) << after.error().sentence();
    if (!report || !after) return {};
    for (const LibraryFinding& finding : after->findings) ADD_FAILURE() << finding.sentence;
    EXPECT_EQ(after->originals,
              static_cast<std::int64_t>(filesBelow(place() + "/originals").size()));
    EXPECT_FALSE(fs::exists(place() + "/recovered"));
    return *report;
  }

  void garble(const std::string& file, std::size_t page, char with = '\xA5') const {
    std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
    stream.seekp(static_cast<std::streamoff>(page * kPage));
    stream << std::string(kPage, with);
  }
  /// As it was before it was damaged.
  void restore(bool withSnapshot) const {
    for (const auto& entry : fs::directory_iterator(place())) {
      if (entry.path().filename().string().starts_with("library.sqlite")) fs::remove(entry.path());
    }
    writeFile(catalogue(), whole_);
    fs::remove_all(place() + "/snapshots");
    if (withSnapshot) makeSnapshotNow();
    for (const char* part : {"-wal", "-shm"}) fs::remove(catalogue() + part);
  }
  std::size_t keptAside() const {
    std::size_t count = 0;
    for (const auto& entry : fs::directory_iterator(place())) {
      count += entry.path().filename().string().ends_with(".damaged-1") ? 1U : 0U;
    }
    return count;
  }

  TemporaryFolder folder_;
  std::string whole_;
  Holdings before_;
};

TEST_F(Rescue, BringsBackEverythingWhicheverPageIsGarbled) {
  for (std::size_t page = 0; page < whole_.size() / kPage; ++page) {
    SCOPED_TRACE("page " + std::to_string(page + 1));
    restore(true);
    garble(catalogue(), page);
    Library::open({.path = place()});
    checkLibrary(place(), {});
    repair();
    EXPECT_EQ(holdings(), before_);
  }
}

TEST_F(Rescue, BringsBackEveryOriginalWithoutASnapshotToo) {
  std::size_t withoutAlbums = 0;
  for (std::size_t page = 0; page < whole_.size() / kPage; ++page) {
    SCOPED_TRACE("page " + std::to_string(page + 1));
    restore(false);
    garble(catalogue(), page, '\0');
    Library::open({.path = place()});
    repair();
    const Holdings after = holdings();
    EXPECT_EQ(after.assets, before_.assets);
    EXPECT_EQ(after.originals, before_.originals);
    if (after.albums != before_.albums) ++withoutAlbums;
  }
  EXPECT_LE(withoutAlbums, 1U) << "the page that has their titles";
}

TEST_F(Rescue, OfAMissingCatalogueTakesTheSnapshot) {
  fs::remove(catalogue());
  const CheckReport report = repair();
  EXPECT_EQ(report.findings.at(0).kind, FindingKind::damagedCatalogue);
  EXPECT_TRUE(report.findings.at(0).isRepaired);
  EXPECT_EQ(holdings(), before_);
  EXPECT_EQ(Gardener(place()).text("SELECT value FROM meta WHERE key = 'authorization'"), "2");
  EXPECT_EQ(report.rescue.at(0), "Of the old catalogue nothing is left.");
  EXPECT_EQ(report.rescue.at(1),
            "The snapshot “snapshots/000000001.sqlite” gave 6 assets, 8 originals, 1 album and 2 "
            "places in albums.");
}

TEST_F(Rescue, OfAnEmptyCatalogueKeepsItAside) {
  fs::resize_file(catalogue(), 0);
  repair();
  EXPECT_EQ(holdings(), before_);
  EXPECT_EQ(keptAside(), 1U);
}

TEST_F(Rescue, OfNothingButOriginalsTakesTheirRecords) {
  restore(false);
  fs::remove(catalogue());
  const CheckReport report = repair();
  const Holdings after = holdings();
  EXPECT_EQ(after.originals, before_.originals);
  EXPECT_EQ(Gardener(place()).text("SELECT value FROM meta WHERE key = 'authorization'"), "3");
  EXPECT_EQ(
      Gardener(place()).text("SELECT count(*), sum(represents) FROM assets WHERE burst_id = 'B'"),
      "21");
  EXPECT_EQ(Gardener(place()).text("SELECT count(*) FROM collections WHERE type = 2"), "15");
  EXPECT_EQ(Gardener(place()).text("SELECT count(*) FROM assets WHERE (subtypes & 8) <> 0"), "2");
}

TEST_F(Rescue, GoesOnWithoutASnapshotThatIsDamagedToo) {
  garble(place() + "/snapshots/000000001.sqlite", 3);
  garble(catalogue(), 0);
  const CheckReport report = repair();
  EXPECT_EQ(holdings().originals, before_.originals);
  EXPECT_EQ(holdings().assets, before_.assets);
}

TEST_F(Rescue, OfATruncatedCatalogueBringsBackEverything) {
  for (const std::size_t pages : {std::size_t{1}, std::size_t{7}, whole_.size() / kPage - 3}) {
    restore(true);
    fs::resize_file(catalogue(), pages * kPage - 100);
    repair();
    EXPECT_EQ(holdings(), before_) << pages;
  }
}

TEST_F(Rescue, OfAGarbledLogBringsBackEveryOriginal) {
  Gardener(place()).run("UPDATE assets SET favorite = 1");
  garble(catalogue(), 5);
  garble(catalogue() + "-wal", 0);
  repair();
  EXPECT_EQ(holdings().originals, before_.originals);
}

TEST_F(Rescue, MakesAssetsOfOriginalsThatHaveNoRecord) {
  restore(false);
  fs::remove(catalogue());
  const std::string uuid = "AB345678-90AB-4DEF-8123-456789ABCDEF";
  writeFile(place() + "/originals/AB/" + uuid + ".mov", "film");
  const CheckReport report = repair();
  EXPECT_EQ(
      Gardener(place()).text("SELECT media_type FROM assets WHERE ident = '" + uuid + "/L0/001'"),
      "2");
}

TEST_F(Rescue, WaitsUntilNobodyHasTheLibraryOpen) {
  const auto library = Library::open({.path = place()});
  garble(catalogue(), 0);
  const auto report = checkLibrary(place(), {.repair = true});
  ASSERT_FALSE(report);
  EXPECT_NE(report.error().sentence().find("while no other program has the library open"),
            std::string::npos);
}

TEST_F(Rescue, PutsPathsRightThatWereGarbled) {
  restore(false);
  Gardener(place()).run(
      "UPDATE resources SET path = substr(path, 1, 5) || '\"' || substr(path, 7) WHERE type = 2;"
      "UPDATE resources SET path = substr(path, 1, 10) || '7' || substr(path, 12)"
      " WHERE name = 'b 1.jpg'; PRAGMA wal_checkpoint(TRUNCATE)");
  garble(catalogue(), 0, '\0');
  repair();
  EXPECT_EQ(holdings().originals, before_.originals);
}

TEST(RescueOfANewLibrary, MakesItAnew) {
  TemporaryFolder folder;
  const std::string place = folder / "library";
  { const auto library = Library::open({.path = place}); }
  writeFile(place + "/library.sqlite", std::string(8192, 'x'));
  ASSERT_FALSE(Library::open({.path = place}));
  ASSERT_TRUE(checkLibrary(place, {.repair = true}));
  EXPECT_TRUE(Library::open({.path = place}));
  EXPECT_EQ(Gardener(place).text("SELECT count(*) FROM collections"), "15");
}

TEST(RescueOfANewLibrary, LeavesOtherFilesAsTheyAre) {
  TemporaryFolder folder;
  const std::string place = folder / "library";
  writeFile(place + "/library.sqlite", std::string(8192, 'x'));
  EXPECT_FALSE(checkLibrary(place, {.repair = true}));
  EXPECT_EQ(filesBelow(place), std::vector<std::string>{"library.sqlite"});
  EXPECT_EQ(readFile(place + "/library.sqlite"), std::string(8192, 'x'));
}

TEST_F(Rescue, GoesOnWithARepairThatWasCutShort) {
  fs::copy_file(catalogue(), place() + "/snapshots/rescued.sqlite");
  fs::rename(catalogue(), catalogue() + ".damaged-1");
  repair();
  EXPECT_EQ(holdings(), before_);
  EXPECT_FALSE(fs::exists(place() + "/snapshots/rescued.sqlite"));
}

TEST_F(Rescue, LeavesASoundLibraryAsItIs) {
  const CheckReport report = repair();
  EXPECT_TRUE(report.rescue.empty());
  EXPECT_TRUE(report.findings.empty());
  EXPECT_EQ(keptAside(), 0U);
  EXPECT_EQ(snapshots().size(), 1U);
}

}  // namespace
}  // namespace quorvin
