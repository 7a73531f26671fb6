// Files that come again.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/catalogue/source_rows.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/originals/source_file.h"
#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;

constexpr std::size_t kLargeFile = 8'000'000;  // much more than is read of a catalogue

// What this process has read so far.
std::int64_t bytesRead() {
  std::ifstream counts("/proc/self/io");
  std::string name;
  std::int64_t bytes = 0;
  counts >> name >> bytes;
  EXPECT_EQ(name, "rchar:");
  return bytes;
}

struct ImportAgain : testing::Test, ImportFixture {
  // Until what is written now cannot be taken for what is there.
  static void letTimePass() { std::this_thread::sleep_for(std::chrono::milliseconds(120)); }

  std::string putLarge(const std::string& name) const {
    return put(name, "image " + std::string(kLargeFile, '.'));
  }

  // The same content is known, and it is not read for that.
  void expectKnown(const std::vector<std::string>& paths) {
    const std::int64_t before = bytesRead();
    EXPECT_EQ(import(paths), (ImportSummary{0, 0, 1, 0}));
    EXPECT_LT(bytesRead() - before, static_cast<std::int64_t>(kLargeFile) / 2);
  }
  void expectRead(const std::vector<std::string>& paths) {
    const std::int64_t before = bytesRead();
    EXPECT_EQ(import(paths), (ImportSummary{0, 0, 1, 0}));
    EXPECT_GT(bytesRead() - before, static_cast<std::int64_t>(kLargeFile));
  }
  std::int64_t notes() { return Gardener(libraryPath()).integer("SELECT count(*) FROM sources"); }
};

TEST_F(ImportAgain, DoesNotReadWhatItKnows) {
  const auto path = putLarge("a.jpg");
  letTimePass();
  importAll();
  expectKnown({folder / "in"});
  expectKnown({path});
  fs::create_symlink(path, folder / "link.jpg");
  expectRead({folder / "link.jpg"});
  expectKnown({folder / "link.jpg"});
  EXPECT_EQ(media.probes, 1);
  EXPECT_EQ(listener.done, (Texts{folder / "link.jpg"}));
  expectSound();
}

TEST_F(ImportAgain, ReadsOnceWhatItKnowsByItsContentAlone) {
  putLarge("a.jpg");
  importAll();
  letTimePass();
  fs::copy_file(folder / "in/a.jpg", folder / "in/sub.jpg");
  fs::remove(folder / "in/a.jpg");
  letTimePass();
  expectRead({folder / "in"});
  expectKnown({folder / "in"});
}

TEST_F(ImportAgain, SeesAChangeThoughSizeAndDateAreTheSame) {
  const auto path = put("a.jpg", "image one");
  letTimePass();
  importAll();
  struct stat before = {};
  ASSERT_EQ(::stat(path.c_str(), &before), 0);
  std::fstream(path, std::ios::in | std::ios::out) << "image two";
  const struct timespec times[2] = {before.st_atim, before.st_mtim};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 0}));
  EXPECT_EQ(assets().size(), 2U);
}

TEST_F(ImportAgain, BelievesNoStateThatTheNextChangeMayLeaveAsItIs) {
  // The clock may go on between the two lines.
  for (;;) {
    const auto path = put("a.jpg", "image");
    const SourceFile file = describeSource(FileDescriptor(::open(path.c_str(), O_RDONLY)), path);
    if (file.added - file.changed > 50'000'000) continue;
    EXPECT_FALSE(file.showsChanges);
    break;
  }
  letTimePass();
  const auto path = folder / "in/a.jpg";
  EXPECT_TRUE(describeSource(FileDescriptor(::open(path.c_str(), O_RDONLY)), path).showsChanges);
}

TEST_F(ImportAgain, ReadsAgainWhatWasTouchedWhileItCame) {
  const auto path = putLarge("a.jpg");
  letTimePass();
  media.onProbe = [&path](const std::string&) { ::chmod(path.c_str(), 0600); };
  importAll();
  EXPECT_EQ(notes(), 0);
  letTimePass();
  expectRead({path});
  expectKnown({path});
}

TEST_F(ImportAgain, KnowsEachNameOfAFileAndForgetsThoseItHadBefore) {
  const auto path = putLarge("a.jpg");
  letTimePass();
  importAll();
  fs::rename(path, folder / "in/b.jpg");
  letTimePass();
  expectRead({folder / "in"});
  expectKnown({folder / "in"});
  EXPECT_EQ(notes(), 1);
  fs::create_hard_link(folder / "in/b.jpg", folder / "in/c.jpg");
  letTimePass();
  EXPECT_EQ(importAll(), (ImportSummary{0, 0, 2, 0}));
  EXPECT_EQ(notes(), 2);
}

TEST_F(ImportAgain, TakesInAgainWhatWasDeletedAndKnowsThat) {
  putLarge("a.jpg");
  letTimePass();
  importAll();
  Gardener(libraryPath()).run("UPDATE assets SET trashed_ns = unixepoch() * 1000000000");
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 0}));
  expectKnown({folder / "in"});
}

TEST_F(ImportAgain, ForgetsWhereWhatWentForGoodCameFrom) {
  put("a.jpg", "image");
  put("b.jpg", "image b");
  letTimePass();
  importAll();
  EXPECT_EQ(notes(), 2);
  Gardener(libraryPath()).run("UPDATE assets SET trashed_ns = 1 WHERE id = 1");
  open();  // removes what was deleted so long ago
  EXPECT_EQ(notes(), 1);
}

TEST_F(ImportAgain, TakesInAgainWhoseOriginalIsLost) {
  put("a.jpg", "image");
  letTimePass();
  importAll();
  fs::remove(folder / ("library/originals/" + filesBelow(folder / "library/originals").front()));
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 0}));
}

TEST_F(ImportAgain, MistakesNoOtherFileInACopyOfTheLibrary) {
  putLarge("a.jpg");
  letTimePass();
  importAll();
  fs::copy(folder / "in", folder / "there", fs::copy_options::recursive);
  fs::copy(folder / "library", folder / "copy", fs::copy_options::recursive);
  fs::remove_all(folder / "library");
  fs::rename(folder / "copy", folder / "library");
  letTimePass();
  expectRead({folder / "there"});
  expectKnown({folder / "in"});
}

TEST_F(ImportAgain, LosesNothingWithWhatItNoted) {
  putLarge("a.jpg");
  letTimePass();
  importAll();
  Gardener(libraryPath()).run("DROP TABLE sources");
  expectRead({folder / "in"});
  expectKnown({folder / "in"});
}

TEST_F(ImportAgain, PutsItsOwnTableInPlaceOfAnother) {
  for (const char* planted : {"CREATE TABLE sources(device)", "CREATE VIEW sources AS SELECT 1",
                              "CREATE INDEX sources ON assets(id)"}) {
    ImportFixture test;
    test.open();
    Gardener(test.libraryPath()).run(planted);
    test.put("a.jpg", "image");
    letTimePass();
    EXPECT_EQ(test.importAll(), (ImportSummary{1, 1, 0, 0}));
    EXPECT_EQ(Gardener(test.libraryPath()).integer("SELECT count(*) FROM sources"), 1);
    test.expectSound();
  }
}

TEST_F(ImportAgain, NotesNoMoreThanOriginalsCanHave) {
  put("a.jpg", "image");
  letTimePass();
  importAll();
  Gardener(libraryPath())
      .run(
          "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 7)"
          " INSERT INTO sources SELECT device, inode + i, name, size, modified_ns, changed_ns,"
          " asset, hash FROM sources, n");
  const auto library = openCatalogue(libraryPath(), MissingLibrary::refuse);
  ASSERT_TRUE(library);
  Catalogue::Reader database = (*library)->reader();
  EXPECT_FALSE(areTooManySources(*database));
  EXPECT_FALSE(areTooManySources(*database, 8));
  EXPECT_TRUE(areTooManySources(*database, 7));
}

TEST_F(ImportAgain, PutsWhatItKnowsIntoTheAlbumAndJoinsHalvesToIt) {
  put("IMG_1.HEIC", "image");
  put("b.jpg", "image b");
  letTimePass();
  importAll();
  put("IMG_1.MOV", "video");
  EXPECT_EQ(import({folder / "in"}, "Trip"), (ImportSummary{0, 1, 2, 0}));
  EXPECT_EQ(assets(), (Texts{"1 1:b.jpg", "1 1:IMG_1.HEIC 9:IMG_1.MOV live"}));
  EXPECT_EQ(Gardener(libraryPath()).integer("SELECT count(*) FROM members"), 2);
  expectSound();
}

}  // namespace
}  // namespace quorvin
