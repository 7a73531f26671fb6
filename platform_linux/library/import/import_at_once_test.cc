// Imports that look at several files and copy several at once.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "testing/platform/no_more_threads.h"
#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;

std::string numbered(int number) {
  return std::to_string(1000 + number);
}

std::size_t openDescriptors() {
  const fs::directory_iterator entries("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

// More than are looked at together: halves of live photos, bursts, the same content twice, also far
// apart, and files that are refused.
void putAll(const ImportFixture& test) {
  for (int i = 0; i < 120; ++i) {
    const std::string n = numbered(i);
    test.put("IMG_" + n + ".HEIC", "image " + n);
    if (i % 3 == 0) test.put("IMG_" + n + ".MOV", "video " + n);
    if (i % 7 == 0) test.put("again/" + n + ".jpg", "image " + n);
    if (i % 5 == 0) test.put("burst/" + n + ".jpg", "image burst=B date=" + n);
    if (i % 11 == 0) test.put("notes/" + n + ".jpg", "text");
    test.put("more/" + n + ".jpg", "image more " + n + (i % 2 == 0 ? " twice" : " " + n));
    test.put("more/" + n + "_copy.jpg", "image more " + numbered(i - i % 2) + " twice");
  }
}

TEST(ImportAtOnce, BringsInTheSameInTheSameOrderWhateverTakesLong) {
  ImportFixture alone;
  putAll(alone);
  const ImportSummary expected = alone.importAll();
  const Texts assets = alone.assets();
  Texts done;
  for (const std::string& path : alone.listener.done) {
    done.push_back(fs::relative(path, alone.folder.path()).string());
  }
  for (unsigned seed = 1; seed <= 3; ++seed) {
    ImportFixture test;
    putAll(test);
    test.filesAtOnce = 8;
    std::atomic<unsigned> state = seed;
    test.media.onProbe = [&state](const std::string&) {
      std::minstd_rand random(state += 7919);
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 1500));
    };
    EXPECT_EQ(test.importAll(), expected);
    EXPECT_EQ(test.assets(), assets);
    EXPECT_EQ(test.listener.problems, alone.listener.problems);
    Texts order;
    for (const std::string& path : test.listener.done) {
      order.push_back(fs::relative(path, test.folder.path()).string());
    }
    EXPECT_EQ(order, done);
    test.expectSound();
    EXPECT_EQ(test.importAll(), (ImportSummary{0, 0, expected.addedFiles + expected.skippedFiles,
                                               expected.refusedFiles}));
  }
}

TEST(ImportAtOnce, NeedsNoThreads) {
  ImportFixture test;
  putAll(test);
  test.filesAtOnce = 4;
  const NoMoreThreads none;
  EXPECT_EQ(test.importAll().refusedFiles, 11U);
  test.expectSound();
}

TEST(ImportAtOnce, HoldsFewFilesOpen) {
  constexpr std::size_t kFew = 200;
  ImportFixture test;
  putAll(test);
  test.filesAtOnce = 8;
  const std::size_t before = openDescriptors();
  std::atomic<std::size_t> most = 0;
  test.media.onProbe = [&most](const std::string&) {
    const std::size_t now = openDescriptors();
    for (std::size_t known = most; known < now && !most.compare_exchange_weak(known, now);)
      continue;
  };
  test.importAll();
  EXPECT_LT(most, before + kFew);
}

TEST(ImportAtOnce, DoesOneThingAfterTheOtherWhereDescriptorsAreShort) {
  ImportFixture test;
  putAll(test);
  test.filesAtOnce = 8;
  const pid_t child = ::fork();
  if (child == 0) {
    const rlim_t most = openDescriptors() + 45;
    const struct rlimit limit = {most, most};
    ::setrlimit(RLIMIT_NOFILE, &limit);
    const auto summary = test.tryImport({test.folder / "in"});
    ::_exit(summary ? static_cast<int>(summary->refusedFiles) : 99);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 11);
  ImportFixture usual;
  putAll(usual);
  usual.importAll();
  EXPECT_EQ(test.assets(), usual.assets());
  test.expectSound();
}

TEST(ImportAtOnce, BringsInAFullDisksFirstFiles) {
  SmallVolume volume("size=9m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount a volume";
  const TemporaryFolder sources;
  ScriptedMedia media;
  ImportListener listener;
  for (int i = 0; i < 60; ++i) {
    writeFile(sources / (numbered(i) + ".jpg"), "image " + numbered(i) + std::string(300'000, '.'));
  }
  const ImportOptions options{{sources.path()}, std::nullopt, 8};
  const auto full = importIntoLibrary(volume / "library", media, options, listener);
  ASSERT_FALSE(full);
  EXPECT_TRUE(full.error().is(LibraryErrorCode::notEnoughSpace)) << full.error().sentence();
  const Texts done = listener.done;
  EXPECT_GT(done.size(), 5U);
  for (std::size_t i = 0; i < done.size(); ++i) {
    EXPECT_EQ(done[i], sources / (numbered(static_cast<int>(i)) + ".jpg"));
  }
  EXPECT_EQ(filesBelow(volume / "library/originals").size(), done.size());
}

TEST(ImportAtOnce, TellsHowMuchIsDone) {
  ImportFixture test;
  putAll(test);
  test.put("large.jpg", "image " + std::string(3'000'000, '.'));
  test.filesAtOnce = 4;
  for (int time = 0; time < 2; ++time) {
    test.importAll();
    const auto& progress = test.listener.progress;
    ASSERT_FALSE(progress.empty());
    EXPECT_TRUE(std::ranges::is_sorted(progress));
    EXPECT_GT(progress.back().second, 3'000'000);
    EXPECT_EQ(progress.back().first, progress.back().second);
  }
}

}  // namespace
}  // namespace quorvin
