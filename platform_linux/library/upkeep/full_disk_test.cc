// Libraries on disks that are filled to the last byte.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/upkeep/check.h"
#include "platform_linux/library/upkeep/trash.h"
#include "posix/file_descriptor.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kBlock = 4096;

class FullDisk : public testing::Test {
 protected:
  void SetUp() override {
    if (!volume_.isThere()) GTEST_SKIP() << "needs to mount a volume";
    open();
    for (int i = 0; i < 20; ++i) kept_.push_back(saved("image " + std::to_string(i)));
    ASSERT_EQ(kept_.size(), 20U);
    close();
  }

  std::string place() const { return volume_ / "library"; }
  std::string reserve() const { return place() + "/library.reserve"; }

  void open() {
    auto opened =
        Library::open({.path = place(), .authorization = PHAuthorizationStatus::authorized});
    ASSERT_TRUE(opened) << opened.error().sentence();
    library_ = *std::move(opened);
    changes_ = std::make_unique<LibraryChanges>(*library_, media_);
  }
  void close() {
    changes_.reset();
    library_.reset();
  }

  std::int64_t freeBytes() const {
    struct statvfs status = {};
    ::statvfs(volume_.path().c_str(), &status);
    return static_cast<std::int64_t>(status.f_bfree * status.f_frsize);
  }
  /// Takes up all but so many bytes.
  void fill(std::int64_t left = 0) {
    const FileDescriptor ballast(
        ::open((volume_ / "ballast").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const std::string block(kBlock, 'x');
    while (freeBytes() > left && ::write(ballast.get(), block.data(), block.size()) > 0) {
    }
    ASSERT_EQ(freeBytes(), left);
  }
  void clear() { fs::remove(volume_ / "ballast"); }

  ChangeOutcome perform(std::function<void(PHChangeRequests&)> block) {
    std::promise<ChangeOutcome> outcome;
    changes_->performChanges(std::move(block), [&](bool success, std::optional<NSError> error) {
      outcome.set_value({success, std::move(error)});
    });
    return outcome.get_future().get();
  }
  ChangeOutcome save(const std::string& content, std::string* identifier = nullptr) {
    const std::string path = outside_ / "a.jpg";
    writeFile(path, content);
    return perform([&](PHChangeRequests& requests) {
      const auto made = requests.creationRequestForAssetFromImageAtFileURL(path);
      if (identifier != nullptr) *identifier = made->localIdentifier;
    });
  }
  std::string saved(const std::string& content) {
    std::string identifier;
    const ChangeOutcome outcome = save(content, &identifier);
    EXPECT_TRUE(outcome.success) << outcome.text();
    return identifier;
  }
  ChangeOutcome remove(const std::vector<std::string>& identifiers) {
    return perform([&](PHChangeRequests& requests) {
      requests.deleteAssets(*library_->fetchAssetsWithLocalIdentifiers(identifiers, nullptr));
    });
  }
  /// A thousand assets more that are in the trash, and two thousand that are not.
  void plantTrash() {
    Gardener gardener(place());
    gardener.run("BEGIN");
    for (int i = 0; i < 3000; ++i) gardener.plant({.created = i});
    gardener.run("UPDATE assets SET trashed_ns = 9000000000000000000 WHERE id % 3 = 0 AND id > 20");
    gardener.run("COMMIT");
    gardener.run("PRAGMA wal_checkpoint(TRUNCATE)");
  }
  /// How many of those that were saved at first are still there.
  std::size_t shown() { return library_->fetchAssetsWithLocalIdentifiers(kept_, nullptr)->count(); }

  void expectSound() {
    const auto report = checkLibrary(place(), {.content = true});
    ASSERT_TRUE(report) << report.error().sentence();
    for (const LibraryFinding& finding : report->findings) ADD_FAILURE() << finding.sentence;
  }

  SmallVolume volume_{"size=24m"};
  TemporaryFolder outside_;
  ScriptedMedia media_;
  std::unique_ptr<Library> library_;
  std::unique_ptr<LibraryChanges> changes_;
  std::vector<std::string> kept_;
};

TEST_F(FullDisk, ASaveThatFailsGivesBackEveryByte) {
  const std::string content = "image " + std::string(20'000, '.');
  bool isSaved = false;
  int failures = 0;
  for (std::int64_t left = 0; !isSaved && left < 1'000'000; left += kBlock) {
    SCOPED_TRACE(std::to_string(left) + " bytes are free");
    clear();
    open();
    fill(left);
    const std::vector<std::string> before = filesBelow(place());
    const ChangeOutcome outcome = save(content);
    isSaved = outcome.success;
    if (!isSaved) {
      EXPECT_EQ(outcome.code(), LibraryErrorCode::notEnoughSpace) << outcome.text();
      EXPECT_EQ(filesBelow(place()), before);
      EXPECT_EQ(freeBytes(), left);
      EXPECT_EQ(shown(), kept_.size());
      ++failures;
    }
    close();
  }
  EXPECT_TRUE(isSaved);
  EXPECT_GT(failures, 10) << "also while rows are stored";
  clear();
  expectSound();
}

TEST_F(FullDisk, AssetsAreDeletedAndGoForGood) {
  open();
  const auto other = Library::open({.path = place(), .authorization = {}});
  ASSERT_TRUE(other);
  fill();
  for (const std::string& identifier : kept_) {
    const ChangeOutcome outcome = remove({identifier});
    ASSERT_TRUE(outcome.success) << outcome.text();
    fill();
  }
  EXPECT_EQ(shown(), 0U);
  EXPECT_EQ(save("image").code(), LibraryErrorCode::notEnoughSpace);
  const auto emptied = emptyTrash(place());
  ASSERT_TRUE(emptied) << emptied.error().sentence();
  EXPECT_EQ(emptied->assets, kept_.size());
  EXPECT_TRUE(filesBelow(place() + "/originals").empty());
  EXPECT_GT(freeBytes(), 0);
  close();
  expectSound();
}

TEST_F(FullDisk, ALibraryIsOpenedAndFreed) {
  fill();
  for (int i = 0; i < 5; ++i) {
    open();
    EXPECT_EQ(shown(), kept_.size() - static_cast<std::size_t>(i));
    EXPECT_TRUE(remove({kept_[static_cast<std::size_t>(i)]}).success);
    close();
    fill();
  }
  fs::remove(place() + "/library.sqlite-shm");
  fill();
  const auto emptied = emptyTrash(place());
  ASSERT_TRUE(emptied) << emptied.error().sentence();
  EXPECT_EQ(emptied->assets, 5U);
  expectSound();
}

TEST_F(FullDisk, AnOpeningSweepsAndRemovesWhatWasDeletedLongAgo) {
  open();
  EXPECT_TRUE(remove({kept_[0]}).success);
  close();
  Gardener(place()).run("UPDATE assets SET trashed_ns = 1 WHERE trashed_ns IS NOT NULL");
  const std::string stray = "00/00000000-0000-0000-0000-000000000000.jpg";
  writeFile(place() + "/originals/" + stray, "image");
  writeFile(place() + "/incoming/left/originals.list", stray + "\n");
  fill();
  open();
  library_->catalogue()->finishBeside();
  EXPECT_EQ(filesBelow(place() + "/originals").size(), kept_.size() - 1);
  EXPECT_TRUE(fs::is_empty(place() + "/incoming"));
  close();
  expectSound();
}

TEST_F(FullDisk, ALargeTrashGoesInSmallerPartsWhereLittleIsKeptBack) {
  plantTrash();
  fs::resize_file(reserve(), 400'000);
  fill();
  const auto emptied = emptyTrash(place());
  ASSERT_TRUE(emptied) << emptied.error().sentence();
  EXPECT_GE(emptied->assets, 1000U);
  open();
  EXPECT_EQ(shown(), kept_.size());
}

TEST_F(FullDisk, IsFreedAlthoughOthersRead) {
  plantTrash();
  fs::resize_file(reserve(), 400'000);
  const auto catalogue = Database::open(place() + "/library.sqlite", Database::Use::read);
  ASSERT_TRUE(catalogue) << catalogue.error().sentence();
  const std::jthread reader([&](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      const ReadTransaction moment(**catalogue);
      EXPECT_TRUE((*catalogue)->integer("SELECT count(*) FROM assets"));
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  });
  fill();
  const auto emptied = emptyTrash(place());
  ASSERT_TRUE(emptied) << emptied.error().sentence();
  EXPECT_GE(emptied->assets, 1000U);
}

TEST_F(FullDisk, TheReserveIsMadeWholeAgainWhenThereIsRoom) {
  const auto whole = fs::file_size(reserve());
  EXPECT_GT(whole, 1'000'000U);
  fs::resize_file(reserve(), 0);
  fill(100 * kBlock);
  open();
  EXPECT_EQ(fs::file_size(reserve()), 100 * kBlock) << "as much as fits";
  clear();
  saved("image more");
  EXPECT_EQ(fs::file_size(reserve()), whole);
}

TEST_F(FullDisk, AReserveWithAnotherNameIsLeftAlone) {
  fs::remove(reserve());
  writeFile(volume_ / "precious", "somebody else's");
  fs::create_hard_link(volume_ / "precious", reserve());
  fill();
  open();
  EXPECT_FALSE(remove({kept_[0]}).success);
  EXPECT_EQ(readFile(volume_ / "precious"), "somebody else's");
  clear();
  EXPECT_TRUE(remove({kept_[0]}).success);
  EXPECT_EQ(readFile(volume_ / "precious"), "somebody else's");
}

TEST(SmallDisk, HasNoReserve) {
  SmallVolume volume("size=6m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  ASSERT_TRUE(Library::open({.path = volume / "library"}));
  EXPECT_FALSE(fs::exists(volume / "library/library.reserve"));
}

}  // namespace
}  // namespace quorvin
