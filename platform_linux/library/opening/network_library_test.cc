// Libraries on network file systems, which nobody mounts here.
#include <gtest/gtest.h>
#include <linux/magic.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/upkeep/administration.h"
#include "platform_linux/library/upkeep/backup.h"
#include "testing/platform/pretended_file_system.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class NetworkLibrary : public testing::Test {
 protected:
  NetworkLibrary() {
    fs::create_directory(share());
    fs::create_directory(folder_ / "temporary");
    if (const char* before = std::getenv("TMPDIR")) before_ = before;
    ::setenv("TMPDIR", (folder_ / "temporary").c_str(), 1);
  }
  ~NetworkLibrary() override {
    before_ ? ::setenv("TMPDIR", before_->c_str(), 1) : ::unsetenv("TMPDIR");
  }

  std::string share() const { return folder_ / "share"; }
  std::string path() const { return share() + "/library"; }
  bool isAnythingCopied() const { return !fs::is_empty(folder_ / "temporary"); }
  /// Makes it as a program on the file server does.
  void fill() const {
    ASSERT_TRUE(storeAuthorization(path(), PHAuthorizationStatus::authorized));
    Gardener(path()).plant({});
  }
  static std::size_t countIn(const Library& library) {
    Catalogue::Reader database = library.catalogue()->reader();
    return static_cast<std::size_t>(database->integer("SELECT count(*) FROM assets").value_or(-1));
  }

  TemporaryFolder folder_;
  std::optional<std::string> before_;
};

TEST_F(NetworkLibrary, IsReadFromACopyThatGoesWithIt) {
  fill();
  ASSERT_GT(fs::file_size(path() + "/library.sqlite-wal"), 0U);
  const auto before = stateBelow(share());
  {
    const PretendedFileSystem nfs(share(), NFS_SUPER_MAGIC);
    const auto library = Library::open({.path = path()});
    ASSERT_TRUE(library) << library.error().sentence();
    EXPECT_EQ(countIn(**library), 1U) << "what the log holds counts";
    EXPECT_TRUE(isAnythingCopied());
    const Done done = (*library)->catalogue()->change([](Database&) -> Done { return Null{}; });
    ASSERT_FALSE(done);
    EXPECT_TRUE(done.error().is(LibraryErrorCode::changeNotSupported));
    EXPECT_EQ(done.error().sentence(),
              "The library “" + path() +
                  "” can only be read because it lies on a network file system, where locks cannot "
                  "be trusted. Copy it to a local disk to change it.");
  }
  EXPECT_FALSE(isAnythingCopied());
  EXPECT_EQ(stateBelow(share()), before);
}

TEST_F(NetworkLibrary, IsShownAsItWasWhenItWasOpened) {
  fill();
  const PretendedFileSystem cifs(share(), CIFS_SUPER_MAGIC);
  const auto library = Library::open({.path = path()});
  ASSERT_TRUE(library) << library.error().sentence();
  Gardener(path()).plant({});
  EXPECT_EQ(countIn(**library), 1U);
  const auto again = Library::open({.path = path()});
  ASSERT_TRUE(again) << again.error().sentence();
  EXPECT_EQ(countIn(**again), 2U);
}

TEST_F(NetworkLibrary, IsCopiedAnewWhenItIsChangedMeanwhile) {
  fill();
  PretendedFileSystem nfs(share(), NFS_SUPER_MAGIC);
  int copies = 0;
  nfs.onCopy = [this, &copies] {
    if (++copies == 1) Gardener(path()).plant({});
  };
  const auto library = Library::open({.path = path()});
  if (copies == 0) GTEST_SKIP() << "needs a file system that copies";
  ASSERT_TRUE(library) << library.error().sentence();
  EXPECT_EQ(countIn(**library), 2U);
  EXPECT_EQ(copies, 4) << "the catalogue and its log, twice";
}

TEST_F(NetworkLibrary, IsNotShownWhileItIsChangedAllTheTime) {
  fill();
  PretendedFileSystem nfs(share(), NFS_SUPER_MAGIC);
  int copies = 0;
  nfs.onCopy = [this, &copies] {
    ++copies;
    Gardener(path()).plant({});
  };
  const auto library = Library::open({.path = path()});
  if (copies == 0) GTEST_SKIP() << "needs a file system that copies";
  ASSERT_FALSE(library);
  EXPECT_EQ(library.error().sentence(),
            "The catalogue “" + path() +
                "/library.sqlite” cannot be read while it is being changed from elsewhere.");
  EXPECT_FALSE(isAnythingCopied());
}

TEST_F(NetworkLibrary, IsLeftAsItIsWhereThereIsNoSpaceForItsCopy) {
  const SmallVolume tiny("size=16k");
  if (!tiny.isThere()) GTEST_SKIP() << "needs to mount a volume";
  fill();
  ::setenv("TMPDIR", tiny.path().c_str(), 1);
  const auto before = stateBelow(share());
  const PretendedFileSystem nfs(share(), NFS_SUPER_MAGIC);
  const auto library = Library::open({.path = path()});
  ASSERT_FALSE(library);
  EXPECT_EQ(library.error().sentence(),
            "The catalogue “" + path() +
                "/library.sqlite” cannot be copied to read it: No space "
                "left on device.");
  EXPECT_EQ(stateBelow(share()), before);
}

TEST_F(NetworkLibrary, IsNotMade) {
  fs::create_directory(share() + "/empty");
  const PretendedFileSystem nfs(share(), NFS_SUPER_MAGIC);
  for (const char* name : {"/empty", "/missing/below"}) {
    const auto opened = Library::open({.path = share() + name});
    ASSERT_FALSE(opened);
    EXPECT_EQ(
        opened.error().sentence(),
        "The library “" + share() + name +
            "” cannot be made because it lies on a network file system, where locks cannot be "
            "trusted. Choose a folder on a local disk.");
  }
  EXPECT_TRUE(fs::is_empty(share() + "/empty"));
  EXPECT_FALSE(fs::exists(share() + "/missing"));
}

TEST_F(NetworkLibrary, MayBeABackup) {
  ASSERT_TRUE(storeAuthorization(folder_ / "library", PHAuthorizationStatus::authorized));
  Gardener(folder_ / "library").plant({});
  const PretendedFileSystem nfs(share(), NFS_SUPER_MAGIC);
  for (int i = 0; i < 2; ++i) {
    const auto backup = backUpLibrary(folder_ / "library", path(), {});
    ASSERT_TRUE(backup) << backup.error().sentence();
  }
  EXPECT_EQ(describeLibrary(path())->photos, 1);
}

TEST_F(NetworkLibrary, IsNotSeenInWhatAVirtualMachineOrAProgramShows) {
  fill();
  for (const std::uint32_t type : {V9FS_MAGIC, FUSE_SUPER_MAGIC}) {
    const PretendedFileSystem shown(share(), type);
    EXPECT_TRUE(storeAuthorization(path(), PHAuthorizationStatus::authorized));
  }
}

}  // namespace
}  // namespace quorvin
