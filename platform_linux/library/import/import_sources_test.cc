// Which files an import finds, and which it refuses.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;

struct ImportSources : testing::Test, ImportFixture {};

TEST_F(ImportSources, RefusesWhatIsNoMediaAndGoesOn) {
  put("a.txt", "text");
  put("b.jpg", "");
  put("c.jpg", "image");
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 2}));
  EXPECT_EQ(listener.problems["a.txt"], "It is not a photo, video or audio file.");
  EXPECT_EQ(listener.problems["b.jpg"], "The file is empty.");
  EXPECT_EQ(listener.done.size(), 3U);
}

TEST_F(ImportSources, RefusesFifosDevicesAndSocketsWithoutWaiting) {
  fs::create_directories(folder / "in");
  ASSERT_EQ(::mkfifo((folder / "in/pipe.jpg").c_str(), 0600), 0);
  EXPECT_EQ(import({folder / "in", "/dev/null", "/dev/zero"}), (ImportSummary{0, 0, 0, 3}));
  EXPECT_EQ(listener.problems["pipe.jpg"], "It is not a regular file.");
  EXPECT_EQ(listener.problems["null"], "It is not a regular file.");
}

TEST_F(ImportSources, NamesWhatCannotBeFound) {
  put("a.jpg", "image");
  fs::create_symlink("nowhere", folder / "in/broken.jpg");
  EXPECT_EQ(import({folder / "in", folder / "missing"}), (ImportSummary{1, 1, 0, 2}));
  EXPECT_EQ(listener.problems["missing"], "It cannot be found: No such file or directory.");
  EXPECT_EQ(listener.problems.count("broken.jpg"), 1U);
}

TEST_F(ImportSources, FollowsLinksAndSurvivesTheirLoops) {
  put("deep/er/a.jpg", "image");
  fs::create_directory_symlink("..", folder / "in/deep/up");
  fs::create_directory_symlink(folder / "in", folder / "in/deep/er/top");
  writeFile(folder / "elsewhere.jpg", "image elsewhere");
  fs::create_symlink(folder / "elsewhere.jpg", folder / "in/link.jpg");
  EXPECT_EQ(importAll(), (ImportSummary{2, 2, 0, 0}));
}

TEST_F(ImportSources, NeverImportsTheLibraryIntoItself) {
  put("a.jpg", "image");
  importAll();
  EXPECT_EQ(import({folder.path()}), (ImportSummary{0, 0, 1, 0, 1}));
  EXPECT_EQ(import({libraryPath()}), (ImportSummary{0, 0, 0, 1, 0}));
}

TEST_F(ImportSources, CountsWhatItPassesOver) {
  put("a.jpg", "image");
  put(".b.jpg", "image b");
  put("@eaDir/c.jpg", "image c");
  put("@eaDir/d.jpg", "image d");
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 0, 2}));
  EXPECT_TRUE(listener.problems.empty());
}

TEST_F(ImportSources, ReportsAFolderThatCannotBeRead) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs to become another user";
  put("a.jpg", "image");
  put("locked/b.jpg", "image b");
  ::chmod((folder / "in/locked").c_str(), 0);
  ::chmod(folder.path().c_str(), 0777);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setuid(65534) != 0) ::_exit(2);
    const auto summary = tryImport({folder / "in"});
    const bool right =
        summary && *summary == ImportSummary{1, 1, 0, 1} &&
        listener.problems["locked"] == "The folder cannot be read: Permission denied.";
    ::_exit(right ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(ImportSources, RefusesAFileThatChangesWhileItIsRead) {
  const auto path = put("a.jpg", "image");
  put("b.jpg", "image b");
  media.onProbe = [&path](const std::string& name) {
    if (name == "b.jpg") writeFile(path, "image, but another one");
  };
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 1}));
  EXPECT_EQ(listener.problems["a.jpg"], "The file changed while it was read.");
  expectSound();
}

TEST_F(ImportSources, RefusesAFileThatGrowsMeanwhile) {
  const auto path = put("a.jpg", "image");
  media.onProbe = [&path](const std::string&) {
    std::ofstream(path, std::ios::app) << " and more";
  };
  EXPECT_EQ(importAll(), (ImportSummary{0, 0, 0, 1}));
  EXPECT_EQ(listener.problems["a.jpg"], "The file changed while it was read.");
  media.onProbe = {};
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 0}));
  expectSound();
}

TEST_F(ImportSources, RefusesWhatIsNoLongerAtItsPathAndGoesOn) {
  put("a.jpg", "image a");
  put("year/b.jpg", "image b");
  put("year/c.jpg", "image c");
  media.onProbe = [this](const std::string& name) {
    if (name == "a.jpg") fs::rename(folder / "in/year", folder / "in/renamed");
  };
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 2}));
  EXPECT_EQ(listener.problems["b.jpg"], "The file cannot be read: No such file or directory.");
  EXPECT_EQ(importAll(), (ImportSummary{2, 2, 1, 0}));
  expectSound();
}

TEST_F(ImportSources, TakesTheMovieAloneWhenItsStillIsGone) {
  const auto still = put("IMG_1.HEIC", "image");
  put("IMG_1.MOV", "video");
  media.onProbe = [&still](const std::string& name) {
    if (name == "IMG_1.MOV") fs::remove(still);
  };
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 0, 1}));
  EXPECT_EQ(assets(), (Texts{"2 2:IMG_1.MOV"}));
  expectSound();
}

}  // namespace
}  // namespace quorvin
