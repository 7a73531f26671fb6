#include "platform_linux/files/side_file.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "posix/write_all.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

class SideFileTest : public testing::Test {
 protected:
  FilePlace placeOf(const std::string& path) {
    FilePlace place{Folder::open(folder.path()), path};
    EXPECT_TRUE(place.folder);
    return place;
  }

  TemporaryFolder folder;
};

void write(const SideFile& side, const std::string& text) {
  ASSERT_EQ(writeAll(side.file().get(),
                     {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}),
            0);
}

TEST_F(SideFileTest, IsHiddenUntilItIsInPlace) {
  SideFile side(placeOf("file"));
  ASSERT_EQ(side.error(), 0);
  write(side, "text");
  EXPECT_TRUE(filesBelow(folder.path()).empty()) << "it has no name";
  EXPECT_EQ(side.moveIntoPlace(), 0);
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(folder / "file"), "text");
}

TEST_F(SideFileTest, HasAHiddenNameWhereNoFileCanBeWithoutOne) {
  SideFile side(placeOf("file"), SideFile::Name::hidden);
  ASSERT_EQ(side.error(), 0);
  write(side, "text");
  const auto before = filesBelow(folder.path());
  ASSERT_EQ(before.size(), 1U);
  EXPECT_TRUE(before[0].starts_with('.'));
  EXPECT_EQ(side.moveIntoPlace(), 0);
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(folder / "file"), "text");
}

TEST_F(SideFileTest, GoesWhenItWasNotMoved) {
  { SideFile side(placeOf("file")); }
  { SideFile side(placeOf("file"), SideFile::Name::hidden); }
  EXPECT_TRUE(filesBelow(folder.path()).empty());
}

TEST_F(SideFileTest, ReplacesWhatStandsAtTheTarget) {
  std::filesystem::create_symlink(folder / "nowhere", folder / "link");
  for (const auto name : {SideFile::Name::none, SideFile::Name::hidden}) {
    for (const std::string target : {"file", "link"}) {
      writeFile(folder / "file", "old");
      SideFile side(placeOf(target), name);
      write(side, "new");
      EXPECT_EQ(side.moveIntoPlace(), 0);
      EXPECT_EQ(readFile(folder / target), "new");
    }
  }
  EXPECT_EQ(filesBelow(folder.path()), (std::vector<std::string>{"file", "link"}));
}

TEST_F(SideFileTest, ReplacesNoFolder) {
  std::filesystem::create_directory(folder / "taken");
  for (const auto name : {SideFile::Name::none, SideFile::Name::hidden}) {
    SideFile side(placeOf("taken"), name);
    EXPECT_EQ(side.moveIntoPlace(), EISDIR);
  }
  EXPECT_TRUE(std::filesystem::is_directory(folder / "taken"));
  EXPECT_TRUE(filesBelow(folder.path()).empty());
}

TEST_F(SideFileTest, LeavesNothingInAFolderThatIsSwept) {
  const std::string others[] = {".quorvin-0123456789abcdeg", ".quorvin-0123456789abcde", "a.jpg",
                                ".quorvin-0123456789abcdef0"};
  for (const std::string& each : others) writeFile(folder / each, "theirs");
  std::filesystem::create_directory(folder / ".quorvin-fedcba9876543210");
  for (const auto name : {SideFile::Name::none, SideFile::Name::hidden}) {
    const pid_t child = ::fork();
    if (child == 0) {
      SideFile side(placeOf("file"), name);
      ::kill(::getpid(), SIGKILL);
    }
    ::waitpid(child, nullptr, 0);
    const std::size_t left = name == SideFile::Name::none ? 0 : 1;
    EXPECT_EQ(filesBelow(folder.path()).size(), std::size(others) + left);
  }
  SideFile underWay(placeOf("file"), SideFile::Name::hidden);
  removeAbandonedSideFiles(Folder::open(folder.path()));
  EXPECT_EQ(filesBelow(folder.path()).size(), std::size(others) + 1);
  EXPECT_EQ(underWay.moveIntoPlace(), 0);
  removeAbandonedSideFiles(Folder::open(folder.path()));
  EXPECT_EQ(filesBelow(folder.path()).size(), std::size(others) + 1);
}

TEST_F(SideFileTest, LiesWhereItsTargetDoesWhateverBecomesOfThePath) {
  std::filesystem::create_directory(folder / "images");
  SideFile side(FilePlace{Folder::open(folder / "images"), "file"});
  std::filesystem::rename(folder / "images", folder / "moved");
  std::filesystem::create_directory(folder / "other");
  std::filesystem::create_directory_symlink(folder / "other", folder / "images");
  EXPECT_EQ(side.moveIntoPlace(), 0);
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"moved/file"});
}

TEST_F(SideFileTest, SaysWhyItCannotBeMade) {
  EXPECT_EQ(SideFile({Folder(), "file", EACCES}).error(), EACCES);
  EXPECT_EQ(SideFile(placeOf("../file")).error(), EXDEV);
  EXPECT_EQ(SideFile(placeOf("missing/file")).error(), ENOENT);
  EXPECT_EQ(SideFile(placeOf("")).error(), ENOENT);
  writeFile(folder / "file", "");
  EXPECT_EQ(SideFile(placeOf("file/below")).error(), ENOTDIR);
}

}  // namespace
}  // namespace quorvin
