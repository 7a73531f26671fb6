#include "platform_linux/files/side_file.h"

#include <gtest/gtest.h>

#include <cerrno>

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
  const auto before = filesBelow(folder.path());
  ASSERT_EQ(before.size(), 1U);
  EXPECT_TRUE(before[0].starts_with('.'));
  EXPECT_EQ(side.moveIntoPlace(Folder::Existing::keep), 0);
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(folder / "file"), "text");
}

TEST_F(SideFileTest, GoesWhenItWasNotMoved) {
  { SideFile side(placeOf("file")); }
  EXPECT_TRUE(filesBelow(folder.path()).empty());
}

TEST_F(SideFileTest, IsSweptWhenNobodyWritesItAnyMore) {
  const SideFile written(placeOf("file"));
  const auto before = filesBelow(folder.path());
  const std::vector<std::string> others = {".quorvin-0123456789abcdeg", ".quorvin-0123",
                                           "quorvin-0123456789abcdef", "file"};
  for (const std::string& each : others) writeFile(folder / each, "another's");
  std::filesystem::create_directory(folder / ".quorvin-fedcba9876543210");
  writeFile(folder / ".quorvin-0123456789abcdef", "part");
  removeAbandonedSideFiles(Folder::open(folder.path()));
  EXPECT_FALSE(std::filesystem::exists(folder / ".quorvin-0123456789abcdef"));
  EXPECT_TRUE(std::filesystem::exists(folder / ".quorvin-fedcba9876543210"));
  EXPECT_TRUE(std::filesystem::exists(folder / before[0]));
  EXPECT_EQ(filesBelow(folder.path()).size(), others.size() + 1);
}

TEST_F(SideFileTest, KeepsWhatStandsAtTheTargetOrReplacesIt) {
  writeFile(folder / "file", "old");
  {
    SideFile side(placeOf("file"));
    write(side, "new");
    EXPECT_EQ(side.moveIntoPlace(Folder::Existing::keep), EEXIST);
    EXPECT_EQ(readFile(folder / "file"), "old");
    EXPECT_EQ(side.moveIntoPlace(Folder::Existing::replace), 0);
  }
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(folder / "file"), "new");
}

TEST_F(SideFileTest, KeepsALinkThatLeadsNowhereAtTheTarget) {
  std::filesystem::create_symlink(folder / "nowhere", folder / "file");
  SideFile side(placeOf("file"));
  EXPECT_EQ(side.moveIntoPlace(Folder::Existing::keep), EEXIST);
}

TEST_F(SideFileTest, LiesWhereItsTargetDoesWhateverBecomesOfThePath) {
  std::filesystem::create_directory(folder / "images");
  SideFile side(FilePlace{Folder::open(folder / "images"), "file"});
  std::filesystem::rename(folder / "images", folder / "moved");
  std::filesystem::create_directory(folder / "other");
  std::filesystem::create_directory_symlink(folder / "other", folder / "images");
  EXPECT_EQ(side.moveIntoPlace(Folder::Existing::keep), 0);
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
