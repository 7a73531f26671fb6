// What appears in folders that are watched.
#include "platform_linux/library/inbox/inbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// Keeps what it is given, and is waited for.
class FolderInbox : public testing::Test, public InboxOwner {
 protected:
  FolderInbox() { fs::create_directories(in()); }
  ~FolderInbox() override { stopWatching(); }

  std::string in() const { return folder_ / "in"; }
  std::string operator/(const std::string& name) const { return in() + "/" + name; }

  void beginWatching() {
    stop_ = {};
    isWatching_ = false;
    thread_ = std::thread([this, token = stop_.get_token()] {
      const InboxOptions options{.folders = {in()},
                                 .library = *this / "library",
                                 .stop = token,
                                 .pace = {60ms, 600ms},
                                 .lookAfter = 50ms,
                                 .pause = 50ms};
      watchFolders(options, *this);
    });
    waitUntil([this] { return isWatching_; });
  }
  void stopWatching() {
    stop_.request_stop();
    if (thread_.joinable()) thread_.join();
  }

  /// Of the files that are in the folder, each was given this often.
  void waitForAll(int times = 1) {
    const auto names = filesBelow(in());
    waitUntil([&] {
      return std::ranges::all_of(
          names, [&](const std::string& name) { return given_[*this / name] >= times; });
    });
  }
  template <class Condition>
  void waitUntil(Condition condition) {
    std::unique_lock held(lock_);
    EXPECT_TRUE(changed_.wait_for(held, 20s, condition)) << "it never came";
  }
  int givenTimes(const std::string& name) {
    const std::scoped_lock held(lock_);
    return given_[*this / name];
  }

  void isWatching() override {
    const std::scoped_lock held(lock_);
    isWatching_ = true;
    changed_.notify_all();
  }
  Done import(const std::vector<std::string>& files) override {
    const std::scoped_lock held(lock_);
    imports_.push_back(files);
    changed_.notify_all();
    if (failures_ > 0) {
      --failures_;
      return Failure(LibraryErrorCode::notEnoughSpace, "the disk is full.");
    }
    for (const std::string& file : files) {
      ++given_[file];
      sizes_[file] = readFile(file).size();
    }
    return Null{};
  }
  void problem(const std::string& sentence) override {
    const std::scoped_lock held(lock_);
    problems_.push_back(sentence);
    changed_.notify_all();
  }

  TemporaryFolder folder_;
  std::mutex lock_;
  std::condition_variable changed_;
  bool isWatching_ = false;
  int failures_ = 0;
  std::map<std::string, int> given_;
  std::map<std::string, std::size_t> sizes_;
  std::vector<std::vector<std::string>> imports_;
  std::vector<std::string> problems_;

 private:
  std::stop_source stop_;
  std::thread thread_;
};

TEST_F(FolderInbox, GivesWhatIsThereAndWhatComes) {
  writeFile(*this / "a.jpg", "a");
  writeFile(*this / "sub/b.jpg", "b");
  beginWatching();
  waitForAll();
  writeFile(*this / "c.jpg", "c");
  writeFile(*this / "sub/d.jpg", "d");
  writeFile(*this / "new/deep/e.jpg", "e");
  waitForAll();
  for (const auto& [path, times] : given_) EXPECT_EQ(times, 1) << path;
  EXPECT_EQ(given_.size(), 5U);
}

TEST_F(FolderInbox, GivesWhatBelongsTogetherSideBySide) {
  const std::vector<std::string> files = {"b/IMG_1.HEIC", "b/IMG_1.MOV", "b/IMG_E1.JPG",
                                          "b/IMG_2.HEIC", "c/IMG_1.HEIC"};
  std::vector<std::string> paths;
  for (const std::string& name : files) {
    writeFile(*this / name, name);
    paths.push_back(*this / name);
  }
  beginWatching();
  waitForAll();
  EXPECT_EQ(imports_.front(), paths);
}

TEST_F(FolderInbox, GivesWhatAFolderHoldsThatIsMovedIn) {
  writeFile(folder_ / "elsewhere/one/a.jpg", "a");
  writeFile(folder_ / "elsewhere/b.jpg", "b");
  beginWatching();
  fs::rename(folder_ / "elsewhere", *this / "came");
  waitForAll();
  writeFile(*this / "came/one/c.jpg", "c");
  waitForAll();
  EXPECT_EQ(given_.size(), 3U);
}

TEST_F(FolderInbox, GivesAFileOnlyWhenItIsWritten) {
  beginWatching();
  FileDescriptor file(::open((*this / "a.jpg").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(::write(file.get(), "half", 4), 4);
  // Many times as long as a file has to rest.
  writeFile(*this / "b.jpg", "b");
  waitUntil([this] { return given_[*this / "b.jpg"] == 1; });
  std::this_thread::sleep_for(300ms);
  EXPECT_EQ(givenTimes("a.jpg"), 0);
  ASSERT_EQ(::write(file.get(), " and half", 9), 9);
  { const FileDescriptor closed(std::move(file)); }
  waitForAll();
  EXPECT_EQ(sizes_[*this / "a.jpg"], 13U);
  EXPECT_EQ(givenTimes("a.jpg"), 1);
}

TEST_F(FolderInbox, GivesAFileOnlyWhenItIsWrittenAlsoIfThatBeganBefore) {
  FileDescriptor file(::open((*this / "a.jpg").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(::write(file.get(), "half", 4), 4);
  const FileDescriptor other(::open((*this / "a.jpg").c_str(), O_RDONLY | O_CLOEXEC));
  if (::fcntl(other.get(), F_SETLEASE, F_RDLCK) == 0 || errno != EAGAIN) {
    GTEST_SKIP() << "needs a file system with leases";
  }
  beginWatching();
  writeFile(*this / "b.jpg", "b");
  waitUntil([this] { return given_[*this / "b.jpg"] == 1; });
  EXPECT_EQ(givenTimes("a.jpg"), 0);
  { const FileDescriptor closed(std::move(file)); }
  waitForAll();
  EXPECT_EQ(givenTimes("a.jpg"), 1);
}

TEST_F(FolderInbox, PassesOverWhatAnImportPassesOver) {
  fs::create_directories(*this / "library/originals");
  beginWatching();
  writeFile(*this / ".hidden.jpg", "a");
  writeFile(*this / "@eaDir/b.jpg", "b");
  writeFile(*this / "Thumbs.db", "c");
  writeFile(*this / "library/originals/d.jpg", "d");
  writeFile(*this / "e.jpg", "e");
  waitUntil([this] { return given_.contains(*this / "e.jpg"); });
  EXPECT_EQ(given_.size(), 1U);
}

TEST_F(FolderInbox, SurvivesAStormOfRenames) {
  for (int i = 0; i < 300; ++i) writeFile(*this / ("a/" + std::to_string(i) + ".jpg"), "x");
  beginWatching();
  waitForAll();
  for (int round = 0; round < 5; ++round) {
    const std::string from = *this / (round % 2 == 0 ? "a" : "b");
    const std::string to = *this / (round % 2 == 0 ? "b" : "a");
    for (int i = 0; i < 300; ++i) {
      const std::string name = from + "/" + std::to_string(i) + ".jpg";
      fs::rename(name, name + ".moved");
      fs::rename(name + ".moved", name);
    }
    fs::rename(from, to);
  }
  waitForAll();
  EXPECT_EQ(filesBelow(in()).size(), 300U);
  writeFile(*this / "b/last.jpg", "last");
  waitForAll();
  EXPECT_TRUE(problems_.empty()) << problems_.front();
}

TEST_F(FolderInbox, FindsEverythingAfterMoreThanTheSystemCouldTell) {
  beginWatching();
  {
    // Whoever imports hears nothing meanwhile; the system keeps some 16,000 events.
    const std::scoped_lock held(lock_);
    writeFile(*this / "first.jpg", "x");
    std::this_thread::sleep_for(200ms);
    for (int i = 0; i < 7000; ++i) {
      writeFile(*this / (std::to_string(i % 10) + "/" + std::to_string(i) + ".jpg"), "x");
    }
  }
  waitForAll();
  EXPECT_EQ(filesBelow(in()).size(), 7001U);
  for (const auto& [path, times] : given_) EXPECT_EQ(times, 1) << path;
}

TEST_F(FolderInbox, TriesAgainWhatCouldNotBeImported) {
  failures_ = 3;
  beginWatching();
  writeFile(*this / "a.jpg", "a");
  waitUntil([this] { return imports_.size() == 1; });
  writeFile(*this / "b.jpg", "b");
  waitForAll();
  EXPECT_GE(imports_.size(), 4U);
  EXPECT_EQ(problems_, std::vector<std::string>{"The disk is full."});
  {
    const std::scoped_lock held(lock_);
    failures_ = 1;
  }
  writeFile(*this / "c.jpg", "c");
  waitForAll();
  EXPECT_EQ(problems_.size(), 2U);
}

TEST_F(FolderInbox, GivesAgainWhatChangedAndNothingElse) {
  writeFile(*this / "a.jpg", "a");
  writeFile(*this / "b.jpg", "b");
  beginWatching();
  waitForAll();
  writeFile(*this / "a.jpg", "another");
  waitUntil([this] { return given_[*this / "a.jpg"] == 2; });
  EXPECT_EQ(givenTimes("b.jpg"), 1);
}

TEST_F(FolderInbox, WaitsForAFolderThatVanished) {
  beginWatching();
  fs::rename(in(), folder_ / "away");
  waitUntil([this] { return !problems_.empty(); });
  writeFile(folder_ / "away/a.jpg", "a");
  fs::rename(folder_ / "away", in());
  waitForAll();
  writeFile(*this / "b.jpg", "b");
  waitForAll();
  EXPECT_EQ(problems_,
            std::vector<std::string>{in() + ": It cannot be found: No such file or directory."});
}

TEST_F(FolderInbox, CatchesUpWithWhatCameMeanwhile) {
  beginWatching();
  writeFile(*this / "a.jpg", "a");
  waitForAll();
  stopWatching();
  writeFile(*this / "b.jpg", "b");
  beginWatching();
  waitForAll();
  EXPECT_EQ(givenTimes("b.jpg"), 1);
}

/// Puts a file where nothing is watched, once it is given the first one, and ends with it.
class HardOfHearing : public InboxOwner {
 public:
  explicit HardOfHearing(std::string late) : late_(std::move(late)) {}

  Done import(const std::vector<std::string>& files) override {
    if (files.back() == late_) stop.request_stop();
    writeFile(late_, "late");
    return Null{};
  }
  void problem(const std::string& sentence) override { problems.push_back(sentence); }

  std::stop_source stop;
  std::vector<std::string> problems;

 private:
  const std::string late_;
};

TEST(CrowdedInbox, LooksForWhatTheSystemDoesNotTell) {
  constexpr int kCannot = 77;
  const TemporaryFolder folder;
  writeFile(folder / "a/1.jpg", "a");
  fs::create_directories(folder / "b");
  const pid_t child = ::fork();
  if (child == 0) {
    if (::unshare(CLONE_NEWUSER) != 0) ::_exit(kCannot);
    if (!(std::ofstream("/proc/sys/user/max_inotify_watches") << 1 << std::flush)) ::_exit(kCannot);
    HardOfHearing owner(folder / "b/late.jpg");
    watchFolders({.folders = {folder.path()},
                  .library = folder / "library",
                  .stop = owner.stop.get_token(),
                  .pace = {50ms, 500ms},
                  .search = 100ms},
                 owner);
    const bool isToldOnce =
        owner.problems.size() == 1 &&
        owner.problems[0].starts_with("The system does not watch so many folders; ");
    ::_exit(isToldOnce ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (WEXITSTATUS(status) == kCannot) GTEST_SKIP() << "needs a limit of its own";
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace quorvin
