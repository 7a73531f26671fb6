#include "platform_linux/library/watch/library_watcher.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform_linux/library/catalogue/album_rows.h"
#include "platform_linux/library/values/identifiers.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

constexpr std::chrono::seconds kPatience{60};

/// Lets the test wait for what becomes ready.
class Bell {
 public:
  void ring() {
    {
      NSLockHolder hold(lock_);
      ++rings_;
    }
    rung_.signal();
  }
  /// False when it stayed silent for too long.
  bool await(int rings) {
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    NSLockHolder hold(lock_);
    while (rings_ < rings) {
      if (!rung_.waitUntil(lock_, limit)) return false;
    }
    return true;
  }

 private:
  NSLock lock_;
  NSCondition rung_;
  int rings_ QUORVIN_GUARDED_BY(lock_) = 0;
};

std::vector<std::string> entriesOf(const char* folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename());
  }
  return names;
}

class LibraryWatcherTest : public testing::Test {
 protected:
  Result<std::unique_ptr<LibraryWatch>> start() {
    return LibraryWatcher::start(test_.library->catalogue(), test_.library->authorization(),
                                 [this] { bell_.ring(); });
  }
  void makeAlbum(Library& library) {
    EXPECT_TRUE(library.catalogue()->change([](Database& database) -> Done {
      insertAlbum(database, newCollectionIdentifier(), "Summer");
      return Null{};
    }));
  }

  TestLibrary test_;
  Bell bell_;
};

TEST_F(LibraryWatcherTest, TellsOfCommitsOfThisLibraryObjectAndOfOthers) {
  const auto other = test_.open();
  const auto watch = start();
  ASSERT_TRUE(watch);
  int rings = 0;
  for (Library* library : {test_.library.get(), other.get(), test_.library.get()}) {
    makeAlbum(*library);
    ASSERT_TRUE(bell_.await(++rings));
    const auto change = (*watch)->take();
    ASSERT_TRUE(change);
    EXPECT_EQ(change->galleries.size(), 1U);
    EXPECT_FALSE((*watch)->take());
  }
}

TEST_F(LibraryWatcherTest, TellsOfAnOutsideProgramsCommitsWhenThatEnds) {
  const auto watch = start();
  ASSERT_TRUE(watch);
  Gardener(test_.folder / "library").plantAlbum("Summer");
  ASSERT_TRUE(bell_.await(1));
  EXPECT_EQ((*watch)->take()->galleries.size(), 1U);
}

TEST_F(LibraryWatcherTest, GathersWhatIsCommittedWhileNobodyTakesIt) {
  const auto watch = start();
  ASSERT_TRUE(watch);
  makeAlbum(*test_.library);
  ASSERT_TRUE(bell_.await(1));
  for (int i = 0; i < 5; ++i) makeAlbum(*test_.library);
  const auto first = (*watch)->take();
  ASSERT_TRUE(bell_.await(2));
  const auto second = (*watch)->take();
  EXPECT_EQ(first->galleries.size(), 1U);
  EXPECT_EQ(second->galleries.size(), 5U);
  EXPECT_GT(second->sequence, first->sequence);
}

TEST_F(LibraryWatcherTest, LeavesNoThreadAndNoDescriptorBehind) {
  const auto count = [](const char* folder) { return entriesOf(folder).size(); };
  { const auto warm = start(); }  // a connection for the overview stays
  const std::size_t threads = count("/proc/self/task");
  const std::size_t descriptors = count("/proc/self/fd");
  {
    const auto watch = start();
    EXPECT_EQ(count("/proc/self/task"), threads + 1);
    EXPECT_GT(count("/proc/self/fd"), descriptors);
  }
  EXPECT_EQ(count("/proc/self/task"), threads);
  EXPECT_EQ(count("/proc/self/fd"), descriptors);
}

TEST_F(LibraryWatcherTest, SaysWhyItCannotStartWithoutDescriptors) {
  { const auto warm = start(); }
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  std::size_t failures = 0;
  // From none to as many as it needs.
  for (rlim_t spare = 0;; ++spare) {
    const FileDescriptor lowestFree(dup(STDIN_FILENO));
    const rlimit tight{static_cast<rlim_t>(lowestFree.get()) + 1 + spare, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &tight);
    const auto watch = start();
    setrlimit(RLIMIT_NOFILE, &before);
    if (watch) break;
    ++failures;
    EXPECT_FALSE(watch.error().reason.empty());
    ASSERT_LT(spare, 20U) << watch.error().reason;
  }
  EXPECT_GE(failures, 4U);
}

TEST_F(LibraryWatcherTest, EndsWhileOthersCommit) {
  std::atomic<bool> isDone = false;
  std::thread writer([this, &isDone] {
    while (!isDone) makeAlbum(*test_.library);
  });
  for (int i = 0; i < 30; ++i) {
    const auto watch = start();
    ASSERT_TRUE(watch);
    if (i % 2 == 0) (*watch)->take();
  }
  isDone = true;
  writer.join();
}

}  // namespace
}  // namespace quorvin
