// What an export is not to harm, and what harms it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>

#include <filesystem>

#include "platform_linux/library/export/exporter.h"
#include "testing/platform/testing_export.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct ExportingSafely : testing::Test, ExportFixture {
  using Names = std::vector<std::string>;
};

TEST_F(ExportingSafely, TellsOfAnOriginalThatIsMissingAndGoesOn) {
  put("a.jpg", "image date=5");
  put("b.jpg", "image date=6");
  importAll();
  const std::string path =
      Gardener(libraryPath()).text("SELECT path FROM resources WHERE asset = 1");
  fs::remove(libraryPath() + "/originals/" + path);
  const auto report = tryExport();
  ASSERT_TRUE(report);
  EXPECT_EQ(report->assets, 1);
  EXPECT_EQ(report->problems,
            Names{"The original of “" + target() + "/1970/01/a.jpg” is not in the library."});
}

TEST_F(ExportingSafely, TellsOfAnOriginalThatIsNotWhatTheCatalogueSays) {
  put("a.jpg", "image date=5");
  importAll();
  const std::string path =
      libraryPath() + "/originals/" + Gardener(libraryPath()).text("SELECT path FROM resources");
  fs::permissions(path, fs::perms(0600));
  writeFile(path, "image date=6");
  for (int run = 0; run < 2; ++run) {
    const auto report = tryExport();
    ASSERT_TRUE(report);
    ASSERT_EQ(report->problems.size(), 1U);
    EXPECT_NE(report->problems[0].find("is not what it was when it was added"), std::string::npos);
    EXPECT_EQ(report->assets, 0);
    EXPECT_EQ(names(), Names{"1970/01/a.jpg.xmp"});
    const ExportList list = readExportList(readFile(target() + "/" + kExportList));
    ASSERT_EQ(list.assets[0].files.size(), 1U);
    EXPECT_EQ(list.assets[0].files[0].path, "1970/01/a.jpg.xmp");
  }
}

TEST_F(ExportingSafely, WhatIsReadBackOtherwiseIsRemovedAndNotListed) {
  put("a.jpg", "image date=5");
  importAll();
  const auto damage = [this](const std::string& content) {
    const std::string path = target() + "/1970/01/a.jpg";
    const auto time = fs::last_write_time(path);
    writeFile(path, content);
    if (content.size() == std::string("image date=5").size()) fs::last_write_time(path, time);
  };
  const auto damaged = [&](const std::string& content, std::int64_t newFiles) {
    ExportOptions options;
    options.assetDone = [&] { damage(content); };
    const auto report = tryExport(options);
    ASSERT_TRUE(report);
    ASSERT_EQ(report->problems.size(), 1U);
    EXPECT_NE(report->problems[0].find("is not what was written"), std::string::npos);
    EXPECT_EQ(report->assets, 0);
    EXPECT_EQ(report->files, 1) << "the XMP";
    EXPECT_EQ(report->newFiles, newFiles);
    const ExportList list = readExportList(readFile(target() + "/" + kExportList));
    EXPECT_EQ(list.assets[0].files.size(), 1U);
  };
  damaged("image date=6", 1);
  EXPECT_EQ(names(), Names{"1970/01/a.jpg.xmp"});
  damaged("somebody else's", 0);
  EXPECT_EQ(at("1970/01/a.jpg"), "somebody else's") << "it was changed since";
}

TEST_F(ExportingSafely, AnOriginalWithoutAChecksumIsExportedOnce) {
  put("a.jpg", "image date=5");
  importAll();
  Gardener(libraryPath()).run("UPDATE resources SET hash = x''");
  EXPECT_EQ(exported().newFiles, 2);
  EXPECT_EQ(exported().newFiles, 0);
}

TEST_F(ExportingSafely, RefusesAFolderInTheLibraryAndOneThatIsBeingFilled) {
  put("a.jpg", "image date=5");
  importAll();
  const auto inside = exportLibrary(libraryPath(), media, libraryPath() + "/out", {});
  ASSERT_FALSE(inside);
  EXPECT_FALSE(fs::exists(libraryPath() + "/out"));
  fs::create_directory(target());
  writeFile(target() + "/.quorvin-export.unfinished", "");
  const FileDescriptor other(
      ::open((target() + "/.quorvin-export.unfinished").c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(::flock(other.get(), LOCK_EX), 0);
  EXPECT_FALSE(tryExport());
}

TEST_F(ExportingSafely, ReplacesNoForeignFileThatIsCalledAsItsList) {
  put("a.jpg", "image date=5");
  importAll();
  for (const char* name : {".quorvin-export", ".quorvin-export.unfinished"}) {
    writeFile(target() + "/" + name, "F");
    const auto refused = tryExport();
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().sentence(),
              "“" + target() + "/" + name +
                  "” is no list of an export; move it elsewhere, or name another folder.");
    EXPECT_EQ(at(name), "F");
    fs::remove(target() + "/" + name);
  }
  exported();
}

TEST_F(ExportingSafely, PutsNothingIntoALibraryThatLiesInTheFolder) {
  put("a.jpg", "image date=5");
  put("b.jpg", "image date=6");
  import({folder / "in/a.jpg"}, "library");
  importAll();
  ASSERT_EQ(fs::path(libraryPath()).filename(), "library");
  const auto before = filesBelow(libraryPath());
  const std::string above = fs::path(libraryPath()).parent_path();
  ExportOptions options{.layout = ExportOptions::Layout::album};
  for (int run = 0; run < 2; ++run) {
    const auto report = exportLibrary(libraryPath(), media, above, options);
    ASSERT_TRUE(report) << report.error().sentence();
    EXPECT_TRUE(report->problems.empty());
    EXPECT_EQ(report->newFiles, run == 0 ? 4 : 0);
  }
  EXPECT_EQ(filesBelow(libraryPath()), before);
  EXPECT_EQ(readFile(above + "/library (2)/a.jpg"), "image date=5");
  EXPECT_EQ(readFile(above + "/1970/01/b.jpg"), "image date=6");
}

TEST_F(ExportingSafely, WritesNothingThroughALinkInItsFolder) {
  put("a.jpg", "image date=5");
  importAll();
  fs::create_directories(folder / "elsewhere");
  fs::create_directory(target());
  fs::create_directory_symlink(folder / "elsewhere", target() + "/1970");
  const auto report = tryExport();
  ASSERT_TRUE(report);
  EXPECT_EQ(report->problems.size(), 1U);
  EXPECT_TRUE(fs::is_empty(folder / "elsewhere"));
}

TEST_F(ExportingSafely, LeavesTheLibraryAsItIs) {
  put("a.jpg", "image date=5");
  importAll();
  const auto before = filesBelow(libraryPath());
  const std::string rows = Gardener(libraryPath()).text("SELECT * FROM assets");
  exported();
  EXPECT_EQ(filesBelow(libraryPath()), before);
  EXPECT_EQ(Gardener(libraryPath()).text("SELECT * FROM assets"), rows);
  expectSound();
}

}  // namespace
}  // namespace quorvin
