#include "platform_linux/resources/linux_asset_resource_manager.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <future>
#include <latch>
#include <thread>

#include "platform_linux/errors/presented.h"
#include "platform_linux/files/linux_file_manager.h"
#include "testing/platform/testing_held_file.h"
#include "testing/platform/testing_library.h"
#include "testing/platform/testing_processes.h"

namespace quorvin {
namespace {

/// Files that may be read as the test says.
class ScriptedFiles final : public AssetFiles {
 public:
  std::function<Done()> onAccess = [] { return Null{}; };

  Result<StoredResources> storedResources(const std::string&) override { return StoredResources(); }
  Done accessTo(const StoredResource&) override { return onAccess(); }
  Result<TimeMap> timeMap(const std::string&) override { return TimeMap(); }
};

class LinuxAssetResourceManagerTest : public testing::Test {
 protected:
  std::shared_ptr<const StoredResource> stored(const std::string& content) {
    const std::string path = folder / "original";
    writeFile(path, content);
    std::filesystem::permissions(path, std::filesystem::perms(0444));
    return std::make_shared<const StoredResource>(PHAssetResourceType::photo, "IMG_1.JPG",
                                                  "public.jpeg",
                                                  heldFile(folder.path(), "original"), path, 1);
  }
  std::optional<NSError> write(std::shared_ptr<const PHAssetResource> resource,
                               const std::string& path) {
    std::promise<std::optional<NSError>> done;
    manager.writeDataForAssetResource(
        std::move(resource), path, nullptr,
        [&done](std::optional<NSError> error) { done.set_value(std::move(error)); });
    return done.get_future().get();
  }
  static void expectError(const std::optional<NSError>& error, std::string_view domain,
                          std::int64_t code, const std::string& description) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, domain);
    EXPECT_EQ(error->code, code);
    EXPECT_EQ(error->localizedDescription, description);
  }

  TemporaryFolder folder;
  ScriptedFiles files;
  TemporaryDirectory temporary{folder.path(), ""};
  LinuxAssetResourceManager manager{files, temporary};
};

TEST_F(LinuxAssetResourceManagerTest, WritesANewFileThatMayBeChanged) {
  const mode_t before = ::umask(0022);
  EXPECT_FALSE(write(stored("photo"), folder / "copy"));
  ::umask(before);
  EXPECT_EQ(readFile(folder / "copy"), "photo");
  struct stat status = {};
  ASSERT_EQ(::stat((folder / "copy").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644U);
  EXPECT_EQ(filesBelow(folder.path()), (std::vector<std::string>{"copy", "original"}));
}

TEST_F(LinuxAssetResourceManagerTest, WritesNothingThroughALinkInTheTemporaryDirectory) {
  const TemporaryFolder outside;
  std::filesystem::create_directory_symlink(outside.path(), folder / "livephoto");
  EXPECT_TRUE(write(stored("movie"), folder / "livephoto/IMG_1.mov"));
  EXPECT_TRUE(write(stored("movie"), folder / "../IMG_1.mov"));
  EXPECT_TRUE(std::filesystem::is_empty(outside.path()));
  EXPECT_FALSE(std::filesystem::exists(folder / "../IMG_1.mov"));
}

TEST_F(LinuxAssetResourceManagerTest, WritesAFileWithoutBytes) {
  EXPECT_FALSE(write(stored(""), folder / "copy"));
  EXPECT_EQ(readFile(folder / "copy"), "");
}

TEST_F(LinuxAssetResourceManagerTest, KeepsAFileThatIsThere) {
  writeFile(folder / "x/copy", "theirs");
  expectError(write(stored("photo"), folder / "x/copy"), kFileErrorDomain, 516,
              "The file “copy” couldn’t be saved in the folder “x” because an item with the same "
              "name already exists.");
  EXPECT_EQ(readFile(folder / "x/copy"), "theirs");
}

TEST_F(LinuxAssetResourceManagerTest, OfTwoCopiesToOnePathTheLastStays) {
  LinuxFileManager fileManager(folder.path());
  LinuxAssetResourceManager copies(files, fileManager.temporary());
  const std::string path = folder / "copy";
  const auto clear = [&] { return !fileManager.fileExists(path) || !fileManager.removeItem(path); };
  std::latch mayGoOn(1);
  std::atomic<bool> isFirst = true;
  files.onAccess = [&]() -> Done {
    if (isFirst.exchange(false)) mayGoOn.wait();
    return Null{};
  };
  std::promise<bool> one;
  ASSERT_TRUE(clear());
  copies.writeDataForAssetResource(stored("photo"), path, nullptr,
                                   [&](std::optional<NSError> error) { one.set_value(!error); });
  while (isFirst) std::this_thread::yield();
  ASSERT_TRUE(clear());
  // The first one's file comes between.
  mayGoOn.count_down();
  EXPECT_TRUE(one.get_future().get());
  EXPECT_EQ(readFile(path), "photo");
  std::promise<bool> other;
  copies.writeDataForAssetResource(stored("movie"), path, nullptr,
                                   [&](std::optional<NSError> error) { other.set_value(!error); });
  EXPECT_TRUE(other.get_future().get());
  EXPECT_EQ(readFile(path), "movie");
}

TEST_F(LinuxAssetResourceManagerTest, ReplacesNothingThatCouldNotBeRemoved) {
  LinuxFileManager fileManager(folder.path());
  LinuxAssetResourceManager copies(files, fileManager.temporary());
  const std::string path = folder / "copy";
  writeFile(path, "theirs");
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const auto setFixed = [&file](unsigned flag) {
    unsigned flags = flag;
    return ::ioctl(file.get(), FS_IOC_SETFLAGS, &flags) == 0;
  };
  if (!setFixed(FS_IMMUTABLE_FL)) GTEST_SKIP() << "the file system fixes no files";
  EXPECT_TRUE(fileManager.removeItem(path));
  setFixed(0);
  std::promise<std::optional<NSError>> done;
  copies.writeDataForAssetResource(stored("photo"), path, nullptr,
                                   [&](std::optional<NSError> error) { done.set_value(error); });
  const auto error = done.get_future().get();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, 516);
  EXPECT_EQ(readFile(path), "theirs");
}

TEST_F(LinuxAssetResourceManagerTest, WhatWasJustWrittenStaysUntilTheNextIsWhole) {
  LinuxFileManager fileManager(folder.path());
  LinuxAssetResourceManager copies(files, fileManager.temporary());
  const std::string path = folder / "copy";
  std::promise<void> done;
  copies.writeDataForAssetResource(
      stored("photo"), path, nullptr, [&](std::optional<NSError> error) {
        EXPECT_FALSE(error);
        // As another one does that begins now.
        EXPECT_FALSE(fileManager.removeItem(path));
        EXPECT_EQ(readFile(path), "photo");
        EXPECT_FALSE(fileManager.setAttributes({.NSFileModificationDate = NSDate(5)}, path));
        done.set_value();
      });
  done.get_future().get();
  copies.shutDown();
  EXPECT_FALSE(fileManager.removeItem(path));
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(LinuxAssetResourceManagerTest, MakesNoFolder) {
  expectError(write(stored("photo"), folder / "missing/copy"), kFileErrorDomain, 4,
              "The file “copy” couldn’t be saved in the folder “missing” because there is no such "
              "file or folder.");
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

TEST_F(LinuxAssetResourceManagerTest, TellsThatTheOriginalIsMissing) {
  const auto resource = stored("photo");
  std::filesystem::remove(resource->path);
  expectError(write(resource, folder / "copy"), kLibraryErrorDomain, 3303,
              "The file “IMG_1.JPG” is missing from the library. (QuorvinLibraryErrorDomain error "
              "3303.)");
}

TEST_F(LinuxAssetResourceManagerTest, WritesNoResourceOfAnotherLibrary) {
  const auto foreign =
      std::make_shared<const PHAssetResource>(PHAssetResourceType::photo, "a.jpg", "public.jpeg");
  expectError(write(foreign, folder / "copy"), kLibraryErrorDomain, 3302,
              "“a.jpg” is no file of this library. (QuorvinLibraryErrorDomain error 3302.)");
}

TEST_F(LinuxAssetResourceManagerTest, AsksForAccessAnew) {
  const Failure refused(LibraryErrorCode::accessUserDenied, "No.");
  files.onAccess = [&refused] { return refused; };
  EXPECT_EQ(write(stored("photo"), folder / "copy"), presented(refused));
  EXPECT_FALSE(std::filesystem::exists(folder / "copy"));
}

TEST_F(LinuxAssetResourceManagerTest, LeavesNothingBehindWhenThereIsNoSpace) {
  SmallVolume volume("size=64k");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const auto resource = stored(std::string(100'000, 'x'));
  const auto error = write(resource, volume / "copy");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, 640);
  EXPECT_TRUE(filesBelow(volume.path()).empty());
  EXPECT_FALSE(write(stored("small"), volume / "copy"));
}

TEST_F(LinuxAssetResourceManagerTest, LeaksNoDescriptor) {
  const auto resource = stored("photo");
  const std::size_t before = openDescriptors();
  for (int i = 0; i < 20; ++i) {
    write(resource, folder / "copy");
    write(resource, folder / "missing/copy");
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(LinuxAssetResourceManagerTest, CompletesNothingOnceItIsShutDown) {
  std::atomic<int> completions = 0;
  std::latch underWay(2);
  std::latch mayGoOn(1);
  files.onAccess = [&underWay, &mayGoOn]() -> Done {
    underWay.count_down();
    mayGoOn.wait();
    return Null{};
  };
  const auto resource = stored("photo");
  const auto held = std::make_shared<int>();
  for (int i = 0; i < 6; ++i) {
    manager.writeDataForAssetResource(
        resource, folder / ("copy" + std::to_string(i)), nullptr,
        [&completions, held](std::optional<NSError>) { ++completions; });
  }
  underWay.wait();
  manager.beginShutDown();
  mayGoOn.count_down();
  manager.shutDown();
  manager.writeDataForAssetResource(resource, folder / "later", nullptr,
                                    [&completions](std::optional<NSError>) { ++completions; });
  EXPECT_EQ(completions, 0);
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"original"});
}

TEST(AccessToAResource, IsAskedOfTheLibraryAsItIsNow) {
  TestLibrary test;
  const std::string asset = test.gardener.plant({});
  test.gardener.run(
      "INSERT INTO resources SELECT id, 0, 1, 'a.jpg', 'public.jpeg', 'AB/a.jpg', 1,"
      " x'00', 1 FROM assets");
  const auto resources = test.library->storedResources(asset);
  ASSERT_TRUE(resources);
  const StoredResource& resource = *resources->front();
  const auto codeOf = [](const Done& access) { return access ? 0 : access.error().code; };
  EXPECT_EQ(codeOf(test.library->accessTo(resource)), 0);
  EXPECT_EQ(codeOf(test.open(PHAuthorizationStatus::denied)->accessTo(resource)), 3311);
  EXPECT_EQ(codeOf(test.open(PHAuthorizationStatus::restricted)->accessTo(resource)), 3310);
  const auto limited = test.open(PHAuthorizationStatus::limited);
  EXPECT_EQ(codeOf(limited->accessTo(resource)), 3303);
  test.gardener.run("INSERT INTO limited_selection SELECT id FROM assets");
  EXPECT_EQ(codeOf(limited->accessTo(resource)), 0);
  test.gardener.run("UPDATE assets SET trashed_ns = 1");
  EXPECT_EQ(codeOf(test.library->accessTo(resource)), 3303);
}

}  // namespace
}  // namespace quorvin
