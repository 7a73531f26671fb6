#include "platform_linux/files/linux_file_manager.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <limits>

#include "platform_linux/errors/presented.h"
#include "testing/contracts/file_manager_contract.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

struct stat statusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status;
}

class LinuxSubject {
 public:
  LinuxSubject() { fs::create_directory(folder()); }

  NSFileManager& files() { return files_; }
  std::string folder() { return root_ / "work"; }
  void put(const std::string& path, const std::string& text) { writeFile(path, text); }
  std::optional<std::string> text(const std::string& path) {
    if (!fs::is_regular_file(path)) return std::nullopt;
    return readFile(path);
  }
  std::optional<NSDate> modificationDate(const std::string& path) {
    const timespec time = statusOf(path).st_mtim;
    return NSDate(static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9);
  }

 private:
  TemporaryFolder root_;
  LinuxFileManager files_{root_ / "temporary"};
};

class LinuxFileManagerTest : public testing::Test {
 protected:
  static ByteBuffer bytes(const std::string& text) {
    return ByteBuffer(std::vector<std::uint8_t>(text.begin(), text.end()));
  }
  static void expectError(const std::optional<NSError>& error, FileErrorCode code,
                          const std::string& description) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, kFileErrorDomain);
    EXPECT_EQ(error->code, static_cast<std::int64_t>(code));
    EXPECT_EQ(error->localizedDescription, description);
  }
  std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder.path())) {
      found.push_back(entry.path().filename().string());
    }
    return found;
  }

  TemporaryFolder folder;
  LinuxFileManager files{folder.path()};
};

TEST_F(LinuxFileManagerTest, WritesFilesThatOthersMayReadAsFarAsTheUmaskLetsThem) {
  const mode_t before = ::umask(0027);
  EXPECT_FALSE(files.writeAtomically(bytes("text"), folder / "file"));
  ::umask(before);
  EXPECT_EQ(statusOf(folder / "file").st_mode & 07777, 0640U);
}

TEST_F(LinuxFileManagerTest, LeavesNothingButTheFile) {
  EXPECT_FALSE(files.writeAtomically(bytes("text"), folder / "file"));
  EXPECT_EQ(names(), std::vector<std::string>{"file"});
}

TEST_F(LinuxFileManagerTest, ReplacesALinkAndNotWhatItLeadsTo) {
  writeFile(folder / "precious", "precious");
  fs::create_symlink(folder / "precious", folder / "link");
  EXPECT_FALSE(files.writeAtomically(bytes("new"), folder / "link"));
  EXPECT_EQ(readFile(folder / "precious"), "precious");
  EXPECT_TRUE(S_ISREG(statusOf(folder / "link").st_mode));
  EXPECT_EQ(readFile(folder / "link"), "new");
}

TEST_F(LinuxFileManagerTest, GivesReadersOfTheOldFileTheOldContent) {
  writeFile(folder / "file", "old");
  std::ifstream reader(folder / "file");
  EXPECT_FALSE(files.writeAtomically(bytes("new"), folder / "file"));
  std::string text;
  reader >> text;
  EXPECT_EQ(text, "old");
}

TEST_F(LinuxFileManagerTest, WritesNamesAsLongAsTheFileSystemHasThem) {
  const std::string longest(255, 'n');
  EXPECT_FALSE(files.writeAtomically(bytes("text"), folder / longest));
  EXPECT_EQ(readFile(folder / longest), "text");
  const std::string tooLong(256, 'n');
  expectError(files.writeAtomically(bytes("text"), folder / tooLong), FileErrorCode::writeUnknown,
              "The file “" + tooLong + "” couldn’t be saved in the folder “" +
                  fs::path(folder.path()).filename().string() + "” because its name is too long.");
  EXPECT_EQ(names(), std::vector<std::string>{longest});
}

TEST_F(LinuxFileManagerTest, WritesNothingUnderTheNameOfTheFolderAbove) {
  fs::create_directory(folder / "a");
  writeFile(folder / "a/file", "text");
  for (const char* name : {"a/..", "a/.", "a/"}) {
    EXPECT_TRUE(files.writeAtomically(bytes("new"), folder / name)) << name;
  }
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"a/file"});
}

TEST_F(LinuxFileManagerTest, WritesNothingBelowAFile) {
  writeFile(folder / "file", "text");
  expectError(files.writeAtomically(bytes("new"), folder / "file/below"), FileErrorCode::noSuchFile,
              "The file “below” couldn’t be saved in the folder “file” because a part of its path "
              "isn’t a folder.");
}

TEST_F(LinuxFileManagerTest, SaysWhatStandsInTheWay) {
  fs::create_directories(folder / "x/photo.jpg");
  expectError(files.writeAtomically(bytes("new"), folder / "x/photo.jpg"),
              FileErrorCode::writeFileExists,
              "The file “photo.jpg” couldn’t be saved in the folder “x” because a folder with the "
              "same name already exists.");
  writeFile(folder / "x/image", "");
  expectError(files.createDirectory(folder / "x/image"), FileErrorCode::writeFileExists,
              "The folder “image” couldn’t be made in the folder “x” because an item with the same "
              "name already exists.");
}

TEST_F(LinuxFileManagerTest, KeepsTheOldFileWhenThereIsNoSpace) {
  SmallVolume volume("size=64k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  writeFile(volume / "file", "old");
  expectError(files.writeAtomically(bytes(std::string(100'000, 'x')), volume / "file"),
              FileErrorCode::writeOutOfSpace,
              "The file “file” couldn’t be saved in the folder “" +
                  fs::path(volume.path()).filename().string() +
                  "” because there isn’t enough space.");
  EXPECT_EQ(filesBelow(volume.path()), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(volume / "file"), "old");
  EXPECT_FALSE(files.writeAtomically(bytes("new"), volume / "file"));
}

TEST_F(LinuxFileManagerTest, ChangesNothingOnAReadOnlyVolume) {
  SmallVolume volume("size=64k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  writeFile(volume / "folder/file", "old");
  volume.makeReadOnly();
  const auto codeOf = [](const std::optional<NSError>& error) { return error ? error->code : 0; };
  EXPECT_EQ(codeOf(files.writeAtomically(bytes("new"), volume / "file")), 642);
  EXPECT_EQ(codeOf(files.createDirectory(volume / "new")), 642);
  EXPECT_EQ(codeOf(files.createDirectory(volume / "folder")), 0);
  EXPECT_EQ(codeOf(files.removeItem(volume / "folder/file")), 642);
  EXPECT_EQ(codeOf(files.setAttributes({std::nullopt, NSDate(5)}, volume / "folder/file")), 642);
}

TEST_F(LinuxFileManagerTest, KeepsTheOldFileWhenTheNewOneWouldBeTooLarge) {
  writeFile(folder / "file", "old");
  const ByteBuffer large = bytes(std::string(100'000, 'x'));
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {50'000, 50'000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const auto error = files.writeAtomically(large, folder / "file");
    ::_exit(error && error->code == 512 ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(names(), std::vector<std::string>{"file"});
  EXPECT_EQ(readFile(folder / "file"), "old");
}

TEST_F(LinuxFileManagerTest, SaysThatPermissionIsMissing) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs to become another user";
  ::chmod(folder.path().c_str(), 0755);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setuid(65534) != 0) ::_exit(2);
    const auto error = files.writeAtomically(bytes("text"), folder / "file");
    ::_exit(error && error->code == 513 ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(LinuxFileManagerTest, TakesALinkForWhatStandsThereWhereverItLeads) {
  fs::create_symlink(folder / "nowhere", folder / "link");
  EXPECT_TRUE(files.fileExists(folder / "link"));
  EXPECT_FALSE(files.removeItem(folder / "link"));
  EXPECT_FALSE(files.fileExists(folder / "link"));
}

// As somebody may have planted it in the place of a folder for exports.
TEST_F(LinuxFileManagerTest, LeadsNowhereElseThroughALinkInTheTemporaryDirectory) {
  const TemporaryFolder outside;
  writeFile(outside / "photo.jpg", "precious");
  fs::last_write_time(outside / "photo.jpg", fs::file_time_type());
  fs::create_directory_symlink(outside.path(), folder / "image");
  fs::create_directory(folder / "video");
  fs::create_symlink(outside / "photo.jpg", folder / "video/photo.jpg");
  EXPECT_FALSE(files.fileExists(folder / "image/photo.jpg"));
  EXPECT_TRUE(files.createDirectory(folder / "image"));
  EXPECT_TRUE(files.createDirectory(folder / "image/new"));
  EXPECT_TRUE(files.removeItem(folder / "image/photo.jpg"));
  EXPECT_TRUE(files.writeAtomically(bytes("new"), folder / "image/photo.jpg"));
  EXPECT_TRUE(files.writeAtomically(bytes("new"), folder / "image/new.jpg"));
  for (const char* path : {"image/photo.jpg", "video/photo.jpg"}) {
    EXPECT_TRUE(files.setAttributes({NSDate(5), NSDate(5)}, folder / path));
  }
  EXPECT_FALSE(files.removeItem(folder / "video"));
  EXPECT_FALSE(files.removeItem(folder / "image"));
  EXPECT_EQ(filesBelow(outside.path()), std::vector<std::string>{"photo.jpg"});
  EXPECT_EQ(readFile(outside / "photo.jpg"), "precious");
  EXPECT_EQ(fs::last_write_time(outside / "photo.jpg"), fs::file_time_type());
}

// The name of a file comes from the library.
TEST_F(LinuxFileManagerTest, LeadsNowhereElseByTheWordsOfAPath) {
  LinuxFileManager inner{folder / "temporary"};
  const std::string image = inner.NSTemporaryDirectory() + "image";
  EXPECT_FALSE(inner.createDirectory(image));
  writeFile(folder / "secret", "precious");
  for (const char* name :
       {"/../../secret", "/../../new", "/./../../secret", "/x/../../../secret"}) {
    EXPECT_FALSE(inner.fileExists(image + name)) << name;
    EXPECT_TRUE(inner.removeItem(image + name)) << name;
    EXPECT_TRUE(inner.writeAtomically(bytes("new"), image + name)) << name;
    EXPECT_TRUE(inner.setAttributes({NSDate(5), NSDate(5)}, image + name)) << name;
    EXPECT_TRUE(inner.createDirectory(image + name)) << name;
  }
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"secret"});
  EXPECT_EQ(readFile(folder / "secret"), "precious");
}

TEST_F(LinuxFileManagerTest, RemovesALinkWithoutWhatItLeadsTo) {
  writeFile(folder / "kept/file", "text");
  fs::create_symlink(folder / "kept", folder / "link");
  fs::create_directory(folder / "gone");
  fs::create_symlink(folder / "kept", folder / "gone/link");
  fs::create_symlink(folder / "nowhere", folder / "dangling");
  for (const char* name : {"link", "gone", "dangling"}) {
    EXPECT_FALSE(files.removeItem(folder / name)) << name;
  }
  EXPECT_EQ(names(), std::vector<std::string>{"kept"});
  EXPECT_EQ(readFile(folder / "kept/file"), "text");
}

TEST_F(LinuxFileManagerTest, NeverRemovesAFolderByAnotherName) {
  writeFile(folder / "a/b/file", "text");
  for (const char* name : {"a/b/..", "a/.", "a/b/../"}) {
    EXPECT_TRUE(files.removeItem(folder / name)) << name;
  }
  EXPECT_EQ(readFile(folder / "a/b/file"), "text");
}

TEST_F(LinuxFileManagerTest, SetsDatesToTheNanosecondAsFarAsADoubleHasThem) {
  writeFile(folder / "file", "text");
  const timespec accessed = statusOf(folder / "file").st_atim;
  EXPECT_FALSE(files.setAttributes({std::nullopt, NSDate(-0.0015)}, folder / "file"));
  const struct stat status = statusOf(folder / "file");
  EXPECT_EQ(status.st_mtim.tv_sec, -1);
  EXPECT_EQ(status.st_mtim.tv_nsec, 998'500'000);
  EXPECT_EQ(status.st_atim.tv_sec, accessed.tv_sec);
  EXPECT_EQ(status.st_atim.tv_nsec, accessed.tv_nsec);
}

TEST_F(LinuxFileManagerTest, SetsTheNearestDateThatTheFileSystemHas) {
  writeFile(folder / "file", "text");
  const double most = std::numeric_limits<double>::max();
  EXPECT_FALSE(files.setAttributes({std::nullopt, NSDate(most)}, folder / "file"));
  EXPECT_GT(statusOf(folder / "file").st_mtim.tv_sec, 4'000'000'000);
  EXPECT_FALSE(files.setAttributes({std::nullopt, NSDate(-most)}, folder / "file"));
  EXPECT_LT(statusOf(folder / "file").st_mtim.tv_sec, -2'000'000'000);
  expectError(files.setAttributes({std::nullopt, NSDate(std::numeric_limits<double>::infinity())},
                                  folder / "file"),
              FileErrorCode::writeUnknown,
              "The dates of “file” couldn’t be set because of an error of the system: Invalid "
              "argument.");
}

TEST_F(LinuxFileManagerTest, NotesTheCreationDateWhereTheFileSystemCan) {
  writeFile(folder / "file", "text");
  if (::setxattr((folder / "file").c_str(), "user.quorvin.test", "", 0, 0) != 0) {
    GTEST_SKIP() << "needs a file system with attributes";
  }
  EXPECT_FALSE(files.setAttributes({NSDate(1'700'000'000.25), std::nullopt}, folder / "file"));
  std::array<char, 64> text = {};
  EXPECT_GT(
      ::getxattr((folder / "file").c_str(), "user.quorvin.creationDate", text.data(), text.size()),
      0);
  EXPECT_STREQ(text.data(), "1700000000.25");
}

TEST_F(LinuxFileManagerTest, DoesWithoutANoteOfTheCreationDate) {
  // A file system without such attributes.
  EXPECT_FALSE(files.setAttributes({NSDate(5), std::nullopt}, "/proc/self/comm"));
}

TEST_F(LinuxFileManagerTest, MakesFoldersOfTheTemporaryDirectoryWithoutOpeningIt) {
  LinuxFileManager own("", folder.path());
  const std::string temporary = own.NSTemporaryDirectory();
  fs::remove_all(temporary);
  EXPECT_FALSE(own.createDirectory(temporary + "image/"));
  EXPECT_EQ(statusOf(temporary.substr(0, temporary.size() - 1)).st_mode & 07777, 0700U);
  EXPECT_TRUE(fs::is_directory(temporary + "image"));
}

TEST_F(LinuxFileManagerTest, MakesNoFolderInATemporaryDirectoryThatCannotBeMade) {
  writeFile(folder / "file", "");
  LinuxFileManager blocked(folder / "file");
  EXPECT_EQ(blocked.NSTemporaryDirectory(), folder / "file/");
  const auto error = blocked.createDirectory(folder / "file/image");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, 516);
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, FileManagerContract, LinuxSubject);

}  // namespace quorvin
