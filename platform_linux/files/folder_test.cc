#include "platform_linux/files/folder.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <filesystem>
#include <thread>

#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

/// From now on the system refuses this thread to find a path beneath a folder in one step.
void forgoOneStep(int error) {
  sock_filter rules[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {4, rules};
  ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program), 0);
}

class FolderTest : public testing::TestWithParam<Folder::Resolution> {
 protected:
  FolderTest() {
    writeFile(root / "outside/secret.txt", "secret");
    writeFile(root / "inside/file", "content");
    writeFile(root / "inside/a/b/deep", "deep");
    inside = Folder::open(root / "inside", GetParam());
  }
  ~FolderTest() override {
    EXPECT_EQ(filesBelow(root / "outside"), std::vector<std::string>{"secret.txt"});
    EXPECT_EQ(readFile(root / "outside/secret.txt"), "secret");
  }

  int errorOfOpening(std::string_view path, int flags = O_RDONLY) const {
    return inside.openFile(path, flags, 0600) ? 0 : errno;
  }
  int errorOfFolder(std::string_view path) const { return inside.openFolder(path) ? 0 : errno; }

  /// What each operation answers for the path. None of them may touch anything.
  void expectAll(std::string_view path, int error) {
    SCOPED_TRACE(path);
    struct stat status = {};
    EXPECT_EQ(errorOfOpening(path), error);
    EXPECT_EQ(errorOfOpening(path, O_WRONLY | O_CREAT), error);
    EXPECT_EQ(errorOfOpening(path, O_WRONLY | O_CREAT | O_EXCL), error);
    EXPECT_EQ(errorOfFolder(path), error);
    EXPECT_EQ(inside.status(path, status), error);
    EXPECT_EQ(inside.makeFolder(path, 0700), error);
    EXPECT_EQ(inside.removeFile(path), error);
    EXPECT_EQ(inside.removeFolder(path), error);
    EXPECT_EQ(inside.removeTree(path), error);
    EXPECT_EQ(inside.rename(path, inside, "new", Folder::Existing::keep), error);
    EXPECT_EQ(inside.rename("file", inside, path, Folder::Existing::replace), error);
  }

  TemporaryFolder root;
  Folder inside;
};

INSTANTIATE_TEST_SUITE_P(Resolved, FolderTest,
                         testing::Values(Folder::Resolution::inOneStep,
                                         Folder::Resolution::partAfterPart),
                         [](const auto& info) {
                           return info.param == Folder::Resolution::inOneStep ? "InOneStep"
                                                                              : "PartAfterPart";
                         });

TEST_P(FolderTest, OpensFilesAndFoldersThatLieInIt) {
  ASSERT_TRUE(inside);
  EXPECT_EQ(errorOfOpening("file"), 0);
  EXPECT_EQ(errorOfOpening("a/b/deep"), 0);
  EXPECT_EQ(errorOfFolder("a/b"), 0);
  EXPECT_TRUE(inside.openFolder("a").openFolder("b").openRegularFile("deep"));
  EXPECT_EQ(errorOfOpening("a/none"), ENOENT);
  EXPECT_EQ(errorOfOpening("none/file"), ENOENT);
  EXPECT_EQ(errorOfOpening("file/file"), ENOTDIR);
  EXPECT_EQ(errorOfFolder("file"), ENOTDIR);
  EXPECT_EQ(errorOfFolder("none"), ENOENT);
}

TEST_P(FolderTest, SaysWhyItCannotBeOpened) {
  EXPECT_FALSE(Folder::open(root / "none", GetParam()));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(Folder::open(root / "inside/file", GetParam()));
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_FALSE(Folder::open(std::string("/tmp\0/x", 7), GetParam()));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(Folder());
}

TEST_P(FolderTest, MakesAndRemovesWhatLiesInIt) {
  EXPECT_EQ(inside.makeFolder("a/new", 0700), 0);
  EXPECT_EQ(inside.makeFolder("a/new", 0700), EEXIST);
  EXPECT_EQ(errorOfOpening("a/new/file", O_WRONLY | O_CREAT | O_EXCL), 0);
  EXPECT_EQ(errorOfOpening("a/new/file", O_WRONLY | O_CREAT | O_EXCL), EEXIST);
  EXPECT_EQ(inside.removeFolder("a/new"), ENOTEMPTY);
  EXPECT_EQ(inside.removeFile("a/new/file"), 0);
  EXPECT_EQ(inside.removeFile("a/new/file"), ENOENT);
  EXPECT_EQ(inside.removeFolder("a/new"), 0);
  EXPECT_FALSE(fs::exists(root / "inside/a/new"));
}

TEST_P(FolderTest, RenamesWithinAndIntoOtherFolders) {
  const Folder deep = inside.openFolder("a/b");
  EXPECT_EQ(inside.rename("file", deep, "deep", Folder::Existing::keep), EEXIST);
  EXPECT_EQ(inside.rename("file", inside, "a/moved", Folder::Existing::keep), 0);
  EXPECT_EQ(inside.rename("a/moved", deep, "deep", Folder::Existing::replace), 0);
  EXPECT_EQ(filesBelow(root / "inside"), std::vector<std::string>{"a/b/deep"});
  EXPECT_EQ(readFile(root / "inside/a/b/deep"), "content");
}

TEST_P(FolderTest, ListsItsEntriesByName) {
  fs::create_symlink("nowhere", root / "inside/link");
  ASSERT_EQ(::mkfifo((root / "inside/fifo").c_str(), 0600), 0);
  std::vector<Folder::Entry> entries;
  EXPECT_EQ(inside.list(entries), 0);
  using Kind = Folder::Kind;
  EXPECT_EQ(
      entries,
      (std::vector<Folder::Entry>{
          {"a", Kind::folder}, {"fifo", Kind::other}, {"file", Kind::file}, {"link", Kind::link}}));
  EXPECT_EQ(inside.list(entries), 0);
  EXPECT_EQ(entries.size(), 4U);
  EXPECT_EQ(inside.sync(), 0);
  EXPECT_EQ(inside.openFolder("a/b").sync(), 0);
}

TEST_P(FolderTest, TellsWhatStandsAtAPath) {
  fs::create_symlink("file", root / "inside/link");
  struct stat status = {};
  EXPECT_EQ(inside.status("file", status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(inside.status("link", status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  EXPECT_EQ(inside.status("none", status), ENOENT);
}

TEST_P(FolderTest, NeverLeavesByTheWordsOfAPath) {
  for (const std::string& path :
       {std::string(".."), std::string("../outside/secret.txt"), std::string("a/../../outside"),
        std::string("a/.."), std::string("/"), root / "outside/secret.txt",
        std::string("a\0/../../outside", 16)}) {
    expectAll(path, EXDEV);
  }
  using namespace std::string_view_literals;
  for (const std::string_view path :
       {""sv, "."sv, "./file"sv, "a/./b"sv, "a//b"sv, "a/"sv, "file\0"sv, "\0"sv, "a\0b/c"sv}) {
    expectAll(path, ENOENT);
  }
  expectAll(std::string(NAME_MAX + 1, 'n'), ENAMETOOLONG);
  std::string deep = "a";
  while (deep.size() < PATH_MAX) deep += "/a";
  expectAll(deep, ENAMETOOLONG);
  EXPECT_EQ(filesBelow(root / "inside"), (std::vector<std::string>{"a/b/deep", "file"}));
}

TEST_P(FolderTest, FollowsNoLinkToWhatIsAskedFor) {
  for (const std::string& target :
       {root / "outside/secret.txt", root / "outside", std::string("../outside/secret.txt"),
        std::string("file"), std::string("a"), std::string(".."), std::string("nowhere"),
        std::string("link"), std::string("/proc/self/cwd"), std::string("/proc/self/exe"),
        "/proc/self/fd/" + std::to_string(inside.descriptor())}) {
    SCOPED_TRACE(target);
    fs::create_symlink(target, root / "inside/link");
    EXPECT_EQ(errorOfOpening("link"), ELOOP);
    EXPECT_EQ(errorOfOpening("link", O_WRONLY | O_CREAT), ELOOP);
    EXPECT_EQ(errorOfOpening("link", O_WRONLY | O_TRUNC), ELOOP);
    EXPECT_EQ(errorOfOpening("link", O_WRONLY | O_CREAT | O_EXCL), EEXIST);
    EXPECT_EQ(errorOfFolder("link"), ELOOP);
    EXPECT_EQ(inside.removeTree("link"), ELOOP);
    EXPECT_EQ(inside.makeFolder("link", 0700), EEXIST);
    EXPECT_EQ(inside.removeFolder("link"), ENOTDIR);
    // What is moved and removed is the link.
    EXPECT_EQ(inside.rename("link", inside, "moved", Folder::Existing::keep), 0);
    EXPECT_TRUE(fs::is_symlink(root / "inside/moved"));
    EXPECT_EQ(inside.removeFile("moved"), 0);
  }
  EXPECT_EQ(filesBelow(root / "inside"), (std::vector<std::string>{"a/b/deep", "file"}));
}

TEST_P(FolderTest, FollowsNoLinkInTheMiddleOfAPath) {
  for (const std::string& target :
       {root / "outside", std::string("../outside"), std::string("a"), std::string("."),
        std::string(".."), std::string("nowhere"), std::string("link"),
        "/proc/self/fd/" + std::to_string(inside.descriptor())}) {
    SCOPED_TRACE(target);
    fs::create_directory_symlink(target, root / "inside/link");
    fs::create_directory_symlink(target, root / "inside/a/link");
    expectAll("link/secret.txt", ELOOP);
    expectAll("a/link/secret.txt", ELOOP);
    expectAll("link/b/deep", ELOOP);
    fs::remove(root / "inside/link");
    fs::remove(root / "inside/a/link");
  }
  EXPECT_EQ(filesBelow(root / "inside"), (std::vector<std::string>{"a/b/deep", "file"}));
}

TEST_P(FolderTest, RemovesTreesWithoutWhatTheirLinksLeadTo) {
  fs::create_directory_symlink(root / "outside", root / "inside/a/link");
  fs::create_symlink(root / "outside/secret.txt", root / "inside/a/b/link");
  ASSERT_EQ(::mkfifo((root / "inside/a/fifo").c_str(), 0600), 0);
  EXPECT_EQ(inside.removeTree("a"), 0);
  EXPECT_FALSE(fs::exists(root / "inside/a"));
  EXPECT_EQ(inside.removeTree("a"), ENOENT);
  EXPECT_EQ(inside.removeTree("file"), ENOTDIR);
}

TEST_P(FolderTest, RemovesNoTreeThatIsDeeperThanItsDescriptorsReach) {
  Folder deepest = inside.openFolder("a");
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(deepest.makeFolder("d", 0700), 0);
    deepest = deepest.openFolder("d");
  }
  EXPECT_EQ(inside.removeTree("a"), ENAMETOOLONG);
}

TEST_P(FolderTest, ReadsRegularFilesAloneAndNeverWaits) {
  ASSERT_EQ(::mkfifo((root / "inside/fifo").c_str(), 0600), 0);
  EXPECT_FALSE(inside.openRegularFile("fifo"));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_FALSE(inside.openRegularFile("a"));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_TRUE(inside.openRegularFile("file"));
  EXPECT_EQ(errorOfOpening("fifo", O_WRONLY), ENXIO);
}

TEST_P(FolderTest, GivesModesWhateverTheUmask) {
  const auto modeOf = [this](const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(::lstat((root / path).c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  };
  const mode_t before = ::umask(0777);
  EXPECT_EQ(inside.makeFolder("new", 0700), 0);
  ::umask(before);
  EXPECT_EQ(modeOf("inside/new"), 0U);
  EXPECT_EQ(inside.setMode("new", 0700), 0);
  EXPECT_EQ(modeOf("inside/new"), 0700U);
  EXPECT_EQ(inside.setMode("a/b/deep", 0400), 0);
  EXPECT_EQ(modeOf("inside/a/b/deep"), 0400U);
  EXPECT_EQ(inside.setMode(0711), 0);
  EXPECT_EQ(modeOf("inside"), 0711U);
  const unsigned ofSecret = modeOf("outside/secret.txt");
  fs::create_symlink(root / "outside/secret.txt", root / "inside/link");
  fs::create_hard_link(root / "outside/secret.txt", root / "inside/name");
  EXPECT_EQ(inside.setMode("link", 0400), ELOOP);
  EXPECT_EQ(inside.setMode("name", 0400), EMLINK);
  EXPECT_EQ(inside.setMode("none", 0400), ENOENT);
  EXPECT_EQ(modeOf("outside/secret.txt"), ofSecret);
}

TEST_P(FolderTest, HasNoFileWhereSomethingElseStands) {
  const auto held = std::make_shared<const Folder>(Folder::open(root / "inside", GetParam()));
  fs::create_symlink(root / "outside/secret.txt", root / "inside/link");
  ASSERT_EQ(::mkfifo((root / "inside/fifo").c_str(), 0600), 0);
  EXPECT_TRUE((HeldFile{held, "a/b/deep"}).open());
  for (const char* path : {"link", "fifo", "a", "none", "file/x", "../outside/secret.txt"}) {
    EXPECT_FALSE((HeldFile{held, path}).open()) << path;
    EXPECT_EQ(errno, ENOENT) << path;
  }
  EXPECT_FALSE((HeldFile{nullptr, "file"}).open());
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(FolderTest, StaysTheSameWhenItIsRenamedOrAnotherTakesItsPlace) {
  fs::rename(root / "inside", root / "renamed");
  fs::create_directory_symlink(root / "outside", root / "inside");
  EXPECT_EQ(errorOfOpening("file"), 0);
  EXPECT_EQ(errorOfOpening("secret.txt"), ENOENT);
  EXPECT_EQ(inside.removeFile("secret.txt"), ENOENT);
  EXPECT_EQ(inside.makeFolder("new", 0700), 0);
  EXPECT_TRUE(fs::is_directory(root / "renamed/new"));
  fs::remove_all(root / "renamed");
  EXPECT_EQ(errorOfOpening("file"), ENOENT);
  EXPECT_EQ(inside.makeFolder("new", 0700), ENOENT);
}

// One thread lets a folder and a link to one outside take turns under one name.
TEST_P(FolderTest, NeverLeavesWhileAFolderAndALinkTakeTurns) {
  writeFile(root / "inside/turn/secret.txt", "ours");
  const std::string turn = root / "inside/turn";
  const std::string folder = root / "inside/folder";
  const std::string link = root / "inside/link";
  fs::create_directory_symlink(root / "outside", link);
  std::atomic<bool> over = false;
  std::thread swapping([&] {
    for (int i = 0; i < 2'000'000 && !over; ++i) {
      if (::renameat2(AT_FDCWD, turn.c_str(), AT_FDCWD, link.c_str(), RENAME_EXCHANGE) != 0) break;
    }
  });
  int opened = 0;
  int refused = 0;
  for (int i = 0; i < 20'000 && (i < 2'000 || opened == 0 || refused == 0); ++i) {
    const FileDescriptor file = inside.openFile("turn/secret.txt", O_RDONLY);
    char text[8] = {};
    if (file) {
      ++opened;
      ASSERT_EQ(::read(file.get(), text, sizeof text), 4);
      ASSERT_EQ(std::string(text), "ours");
    } else {
      ++refused;
      ASSERT_TRUE(errno == ELOOP || errno == ENOTDIR) << errno;
    }
    inside.removeFile("turn/none");
    inside.rename("turn/secret.txt", inside, "turn/secret.txt", Folder::Existing::replace);
    ASSERT_TRUE(fs::exists(root / "outside/secret.txt"));
  }
  over = true;
  swapping.join();
  EXPECT_GT(opened, 0);
}

TEST_P(FolderTest, WorksWhereTheSystemFindsNothingInOneStep) {
  fs::create_directory_symlink(root / "outside", root / "inside/link");
  for (const int error : {ENOSYS, EPERM}) {
    // The rules end with the thread.
    std::thread([this, error] {
      forgoOneStep(error);
      EXPECT_EQ(errorOfOpening("a/b/deep"), 0);
      EXPECT_EQ(errorOfFolder("a/b"), 0);
      expectAll("link/secret.txt", ELOOP);
      expectAll("../outside/secret.txt", EXDEV);
    }).join();
  }
}

}  // namespace
}  // namespace quorvin
