#include "platform_linux/files/temporary_directory.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

mode_t modeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

class TemporaryDirectoryTest : public testing::Test {
 protected:
  /// The directory that a user has in this folder.
  std::string usual() { return folder / ("quorvin-" + std::to_string(::geteuid())); }
  /// Its path must be another one, private and in the same folder.
  void expectAnother(const std::string& path) {
    EXPECT_NE(path, usual() + "/");
    EXPECT_TRUE(path.starts_with(folder / "quorvin-")) << path;
    EXPECT_EQ(modeOf(path), 0700U);
  }

  TemporaryFolder folder;
};

TEST_F(TemporaryDirectoryTest, IsTheUsersOwnAndClosedToOthers) {
  TemporaryDirectory directory("", folder.path());
  EXPECT_EQ(directory.path(), usual() + "/");
  EXPECT_EQ(modeOf(usual()), 0700U);
}

TEST_F(TemporaryDirectoryTest, IsTheSameForEveryProcessOfTheUser) {
  TemporaryDirectory one("", folder.path());
  TemporaryDirectory other("", folder.path());
  EXPECT_EQ(one.path(), other.path());
}

TEST_F(TemporaryDirectoryTest, EndsInOneSlashAndHasNoDoubledOnes) {
  TemporaryDirectory ofUser("", folder.path() + "//");
  EXPECT_EQ(ofUser.path(), usual() + "/");
  TemporaryDirectory named(folder / "a//b//", "");
  EXPECT_EQ(named.path(), folder / "a/b/");
  TemporaryDirectory root("/", "");
  EXPECT_EQ(root.path(), "/");
}

TEST_F(TemporaryDirectoryTest, IsMadeAgainWhenItWentMissing) {
  TemporaryDirectory directory("", folder.path());
  directory.path();
  fs::remove_all(usual());
  EXPECT_EQ(directory.path(), usual() + "/");
  EXPECT_EQ(modeOf(usual()), 0700U);
}

TEST_F(TemporaryDirectoryTest, IsMadeWithTheFoldersAboveItThatAreMissing) {
  TemporaryDirectory directory("", folder / "missing/too");
  EXPECT_EQ(modeOf(directory.path()), 0700U);
  TemporaryDirectory named(folder / "named/too", "");
  EXPECT_EQ(named.path(), folder / "named/too/");
  EXPECT_TRUE(fs::is_directory(folder / "named/too"));
}

TEST_F(TemporaryDirectoryTest, AvoidsALinkThatStandsInItsPlace) {
  fs::create_directory(folder / "trap");
  fs::permissions(folder / "trap", fs::perms(0700));
  fs::create_directory_symlink(folder / "trap", usual());
  TemporaryDirectory directory("", folder.path());
  expectAnother(directory.path());
  EXPECT_EQ(directory.path(), directory.path());
  EXPECT_TRUE(fs::is_empty(folder / "trap"));
}

TEST_F(TemporaryDirectoryTest, AvoidsADirectoryThatOthersMayUse) {
  fs::create_directory(usual());
  fs::permissions(usual(), fs::perms(0777));
  TemporaryDirectory directory("", folder.path());
  expectAnother(directory.path());
}

TEST_F(TemporaryDirectoryTest, AvoidsAFileThatStandsInItsPlace) {
  writeFile(usual(), "");
  TemporaryDirectory directory("", folder.path());
  expectAnother(directory.path());
}

TEST_F(TemporaryDirectoryTest, AvoidsADirectoryOfAnotherUser) {
  fs::create_directory(usual());
  fs::permissions(usual(), fs::perms(0700));
  if (::chown(usual().c_str(), 65534, 65534) != 0) GTEST_SKIP() << "needs to give a folder away";
  TemporaryDirectory directory("", folder.path());
  expectAnother(directory.path());
}

TEST_F(TemporaryDirectoryTest, SaysWhyItCannotBeMade) {
  writeFile(folder / "file", "");
  TemporaryDirectory directory("", folder / "file");
  EXPECT_EQ(directory.make(), ENOTDIR);
  EXPECT_TRUE(directory.path().starts_with(folder / "file/"));
  TemporaryDirectory named(folder / "file", "");
  EXPECT_EQ(named.make(), EEXIST);
  EXPECT_EQ(named.path(), folder / "file/");
}

TEST_F(TemporaryDirectoryTest, KnowsWhatLiesInIt) {
  TemporaryDirectory directory(folder / "a", "");
  EXPECT_TRUE(directory.holds(folder / "a"));
  EXPECT_TRUE(directory.holds(folder / "a/image"));
  EXPECT_FALSE(directory.holds(folder / "ab"));
  EXPECT_FALSE(directory.holds(folder.path()));
}

TEST(TemporaryParent, IsWhatTheEnvironmentNames) {
  ::setenv("TMPDIR", "/var/tmp", 1);
  EXPECT_EQ(temporaryParent(), "/var/tmp");
  ::setenv("TMPDIR", "relative", 1);
  EXPECT_EQ(temporaryParent(), "/tmp");
  ::setenv("TMPDIR", "/not\xFFutf8", 1);
  EXPECT_EQ(temporaryParent(), "/tmp");
  ::unsetenv("TMPDIR");
  EXPECT_EQ(temporaryParent(), "/tmp");
}

}  // namespace
}  // namespace quorvin
