#include "platform_linux/files/side_file.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform_linux/files/copy_content.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

void write(const SideFile& side, const std::string& text) {
  ASSERT_EQ(writeAll(side.file().get(),
                     {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}),
            0);
}

TEST(SideFile, IsHiddenUntilItIsInPlace) {
  TemporaryFolder folder;
  SideFile side(folder / "file");
  ASSERT_EQ(side.error(), 0);
  write(side, "text");
  const auto before = filesBelow(folder.path());
  ASSERT_EQ(before.size(), 1U);
  EXPECT_TRUE(before[0].starts_with('.'));
  EXPECT_EQ(side.moveIntoPlace(SideFile::Existing::keep), 0);
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(folder / "file"), "text");
}

TEST(SideFile, GoesWhenItWasNotMoved) {
  TemporaryFolder folder;
  { SideFile side(folder / "file"); }
  EXPECT_TRUE(filesBelow(folder.path()).empty());
}

TEST(SideFile, KeepsWhatStandsAtTheTargetOrReplacesIt) {
  TemporaryFolder folder;
  writeFile(folder / "file", "old");
  {
    SideFile side(folder / "file");
    write(side, "new");
    EXPECT_EQ(side.moveIntoPlace(SideFile::Existing::keep), EEXIST);
    EXPECT_EQ(readFile(folder / "file"), "old");
    EXPECT_EQ(side.moveIntoPlace(SideFile::Existing::replace), 0);
  }
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(folder / "file"), "new");
}

TEST(SideFile, KeepsALinkThatLeadsNowhereAtTheTarget) {
  TemporaryFolder folder;
  std::filesystem::create_symlink(folder / "nowhere", folder / "file");
  SideFile side(folder / "file");
  EXPECT_EQ(side.moveIntoPlace(SideFile::Existing::keep), EEXIST);
}

TEST(SideFile, SaysWhyItCannotBeMade) {
  TemporaryFolder folder;
  EXPECT_EQ(SideFile(folder / "missing/file").error(), ENOENT);
  EXPECT_EQ(SideFile("").error(), ENOENT);
  writeFile(folder / "file", "");
  EXPECT_EQ(SideFile(folder / "file/below").error(), ENOTDIR);
}

}  // namespace
}  // namespace quorvin
