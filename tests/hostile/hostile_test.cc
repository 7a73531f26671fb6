// Files that are made to do harm cost a request, at worst a worker, and never more. The number of
// damaged files is QUORVIN_HOSTILE_FILES; with it the other files are as large as can be.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <mutex>
#include <thread>
#include <vector>

#include "platform_linux/library/import/importer.h"
#include "platform_linux/library/upkeep/check.h"
#include "testing/platform/testing_folder.h"
#include "tests/hostile/attack.h"
#include "tests/hostile/hostile_files.h"
#include "tests/hostile/hostile_pictures.h"
#include "tests/hostile/process_memory.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

const char* askedCount() {
  return std::getenv("QUORVIN_HOSTILE_FILES");
}

std::size_t damagedFileCount() {
  return askedCount() == nullptr ? 200 : static_cast<std::size_t>(std::atoll(askedCount()));
}

/// Of a picture with nearly as many pixels as are decoded, or one that a test has time for.
std::uint32_t largestSide() {
  return askedCount() == nullptr ? 3'000 : 31'000;
}

class ImportCount final : public ImportObserver {
 public:
  void filesFound(std::size_t total) override { found = total; }
  void fileDone(const ImportedFile&) override { ++done; }
  void problem(const std::string&, const std::string&) override {}

  std::size_t found = 0;
  std::size_t done = 0;
};

class HostileMedia : public testing::Test {
 protected:
  using Files = std::function<HostileFile(std::size_t number)>;

  /// The attackers share the files, which are imported together and then asked everything.
  void attackWith(std::size_t count, int attackers, const Files& files) {
    const std::int64_t before = ownMemory("VmRSS:");
    forgetHighestMemory();
    {
      const ChildrenMemory workers;
      std::atomic<std::size_t> next = 0;
      std::vector<std::thread> threads;
      for (int i = 0; i < attackers; ++i) {
        threads.emplace_back(
            [&, name = std::to_string(i)] { attackFrom(folder_ / name, next, count, files); });
      }
      for (std::thread& each : threads) each.join();
      workersMemory_ = workers.highest();
    }
    hostMemory_ = ownMemory("VmRSS:") - before;
    highestHostMemory_ = ownMemory("VmHWM:") - before;
    EXPECT_EQ(tally_.files, count);
    report();
  }

  void attackWith(const std::vector<HostileFile>& files, int attackers) {
    attackWith(files.size(), attackers, [&files](std::size_t number) { return files.at(number); });
  }

  /// What holds after any attack.
  void expectNoHarm() {
    constexpr std::int64_t kMebibyte = 1 << 20;
    // The pool's own limit, and what a loaded machine needs to notice it.
    constexpr auto kCallTime = kRequestTime + std::chrono::seconds(10);
    EXPECT_EQ(tally_.senseless, std::vector<std::string>());
    // The C library's heaps look up how the system grants memory, before they give some back.
    tally_.refusedCalls.erase("openat");
    EXPECT_EQ(tally_.refusedCalls, std::set<std::string>());
    for (const auto& [kind, time] : tally_.longest) {
      if (kind == "export") continue;  // which may go on as long as it gets on
      EXPECT_LT(time, kCallTime) << kind;
    }
#ifndef QUORVIN_SANITIZED  // which keep what was freed, and shadows of it
    EXPECT_LT(hostMemory_, 64 * kMebibyte);
    EXPECT_LT(highestHostMemory_, 64 * kMebibyte);
    EXPECT_LT(workersMemory_, 3072 * kMebibyte);
#endif
    const auto check = checkLibrary(folder_ / "library", {});
    ASSERT_TRUE(check) << check.error().sentence();
    EXPECT_EQ(check->findings.size(), 0U);
  }

  const AttackTally& tally() const {
    return tally_;
  }

 private:
  /// Files that are imported together.
  static constexpr std::size_t kBatch = 20;

  void attackFrom(const std::string& folder, std::atomic<std::size_t>& next, std::size_t count,
                  const Files& files) {
    fs::create_directories(folder);
    Attack attack(folder);
    for (std::size_t first; (first = next.fetch_add(kBatch)) < count;) {
      const std::string batch = folder + "/batch";
      for (std::size_t i = first; i < std::min(count, first + kBatch); ++i) {
        const HostileFile file = files(i);
        writeFile(batch + "/" + file.name, {file.bytes.begin(), file.bytes.end()});
      }
      import(attack, batch);
      for (const std::string& each : filesBelow(batch)) attack.on(batch + "/" + each);
      fs::remove_all(batch);
    }
    const std::lock_guard held(tallyLock_);
    tally_.add(attack.tally());
  }

  void import(Attack& attack, const std::string& batch) {
    ImportCount counted;
    const auto summary =
        importIntoLibrary(folder_ / "library", attack.pool(), {{batch}, {}}, counted);
    ASSERT_TRUE(summary) << summary.error().sentence();
    EXPECT_EQ(counted.done, filesBelow(batch).size());
    EXPECT_EQ(summary->addedFiles + summary->skippedFiles + summary->refusedFiles, counted.done);
    added_ += summary->addedFiles;
  }

  void report() {
    std::cout << tally_.files << " files, " << added_ << " imported; " << tally_.calls << " calls, "
              << tally_.refused << " refused; " << tally_.ended.size() << " workers ended, "
              << tally_.late.size() << " late; host +" << (hostMemory_ >> 20) << " MiB, at most +"
              << (highestHostMemory_ >> 20) << "; workers at most " << (workersMemory_ >> 20)
              << " MiB\n";
    for (const auto& [kind, time] : tally_.longest) {
      std::cout << "  longest " << kind << ": " << time.count() << " ms\n";
    }
    for (const auto* lines : {&tally_.ended, &tally_.late, &tally_.senseless, &tally_.refusals}) {
      for (const std::string& each : *lines) std::cout << "  " << each << "\n";
    }
  }

  TemporaryFolder folder_;
  std::mutex tallyLock_;
  AttackTally tally_;
  std::atomic<std::size_t> added_ = 0;
  std::int64_t hostMemory_ = 0;
  std::int64_t highestHostMemory_ = 0;
  std::int64_t workersMemory_ = 0;
};

TEST_F(HostileMedia, OfFewBytesThatAskForMuch) {
  // One after another, for each may take as much memory as any.
  attackWith(bombs(largestSide()), 1);
  expectNoHarm();
  EXPECT_EQ(tally().ended, std::vector<std::string>());
}

TEST_F(HostileMedia, InCirclesAndWithoutEnd) {
  attackWith(mazes(), 2);
  expectNoHarm();
  EXPECT_EQ(tally().ended, std::vector<std::string>());
}

TEST_F(HostileMedia, ThatIsOtherThanItSeems) {
  attackWith(disguises(), 2);
  expectNoHarm();
  EXPECT_EQ(tally().ended, std::vector<std::string>());
}

// Its rows cannot be had one after another, and no file can be made to keep them in.
TEST(LargeMedia, ThatIsNeededWholeIsKeptInMemory) {
  const TemporaryFolder folder;
  Attack attack(folder.path());
  const FileDescriptor file = fileOf(interlacedPng(11'000, 11'000));
  const auto thumbnail = attack.pool().render(file, {.targetWidth = 256, .targetHeight = 256});
  ASSERT_TRUE(thumbnail) << thumbnail.error().sentence();
  EXPECT_EQ((*thumbnail)->width(), 256);
}

TEST_F(HostileMedia, ThatEndsAfterAnyByte) {
  const CutFiles files(askedCount() == nullptr ? 100 : damagedFileCount());
  attackWith(files.count(), 2, [&files](std::size_t number) { return files.at(number); });
  expectNoHarm();
}

TEST(LargeMedia, ThatIsAskedForAtOnceTakesNoMoreMemoryThanThereIs) {
  constexpr std::uint32_t kSide = 13'000;
  MediaWorkerPool pool({.program = workerProgram(), .size = 4});
  const FileDescriptor file = fileOf(interlacedPng(kSide, kSide));
  std::atomic<int> rendered = 0;
  std::int64_t highest = 0;
  {
    const ChildrenMemory workers;
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i) {
      threads.emplace_back([&] {
        const auto whole = pool.render(file, {.fit = RenderRequest::Fit::original});
        EXPECT_TRUE(whole) << whole.error().sentence();
        if (whole) ++rendered;
      });
    }
    for (std::thread& each : threads) each.join();
    highest = workers.highest();
  }
  std::cout << "workers at most " << (highest >> 20) << " MiB\n";
  EXPECT_EQ(rendered, 6);
  EXPECT_GT(highest, std::int64_t{kSide} * kSide * 3);
#ifndef QUORVIN_SANITIZED
  EXPECT_LT(highest, std::int64_t{3} << 30);
#endif
}

TEST_F(HostileMedia, ThatIsDamaged) {
  const DamagedFiles files(damagedFileCount());
  attackWith(damagedFileCount(), 2, [&files](std::size_t number) { return files.at(number); });
  expectNoHarm();
}

}  // namespace
}  // namespace quorvin
