// A process that changes a library, makes snapshots and backups of it, or repairs it, is killed at
// any moment, again and again: what it was answered is there, and what it was not is there whole or
// not at all.
//
// QUORVIN_CRASH_KILLS makes it last: that many kills, however long they take.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/library/opening/opening.h"
#include "platform_linux/library/snapshots/snapshot.h"
#include "platform_linux/library/upkeep/backup.h"
#include "platform_linux/library/upkeep/check.h"
#include "testing/platform/testing_folder.h"
#include "tests/crash/changer_process.h"
#include "tests/crash/ledger.h"
#include "tests/crash/library_state.h"

namespace quorvin {
namespace {

using std::chrono::microseconds;

constexpr int kRoundsOfALibrary = 40;
constexpr int kRoundsBetweenRepairs = 8;

/// When to kill: so long after so many lines.
struct Moment {
  std::size_t lines = 0;
  microseconds later{0};
};

Moment randomMoment(std::mt19937& random) {
  const auto upTo = [&random](int last) {
    return std::uniform_int_distribution<int>(0, last)(random);
  };
  // Some die while the library is being opened, the others after a change or in the middle of one.
  if (upTo(7) == 0) return {0, microseconds(upTo(60'000))};
  return {static_cast<std::size_t>(1 + upTo(24)),
          microseconds(upTo(upTo(1) == 0 ? 2'000 : 20'000))};
}

/// What the process was about when it died; empty when nothing was under way.
std::string workCutShort(const std::vector<Line>& lines) {
  if (lines.empty()) return "opening";
  const std::string& last = lines.back().front();
  return last == "done" || last == "declined" || last == "open" || last == "end" ? "" : last;
}

/// Everything that the ledger says is in the newest snapshot as well.
void keepASnapshot(const std::string& library) {
  const auto catalogue = openCatalogue(library, MissingLibrary::refuse);
  ASSERT_TRUE(catalogue) << catalogue.error().sentence();
  Catalogue::Reader database = (*catalogue)->reader();
  const auto made = makeSnapshot((*catalogue)->folder(), *database);
  ASSERT_TRUE(made) << made.error().sentence();
}

void writeNoise(const std::string& file, std::uintmax_t from, std::uintmax_t to,
                std::mt19937& random) {
  std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
  stream.seekp(static_cast<std::streamoff>(from));
  for (; from < to; ++from) stream.put(static_cast<char>(random()));
}

void damageCatalogue(const std::string& library, std::mt19937& random) {
  constexpr std::uintmax_t kPage = 4096;
  const std::string catalogue = library + "/library.sqlite";
  const std::uintmax_t size = std::filesystem::file_size(catalogue);
  const std::uintmax_t page = random() % (size / kPage) * kPage;
  switch (random() % 5) {
    case 0:
      std::filesystem::remove(catalogue);
      break;
    case 1:
      std::filesystem::resize_file(catalogue, 0);
      break;
    case 2:
      std::filesystem::resize_file(catalogue, page);
      break;
    case 3:
      writeNoise(catalogue, 0, size, random);
      break;
    default:
      writeNoise(catalogue, page, std::min(size, page + 4 * kPage), random);
      break;
  }
}

/// One library after the other, and those who change it, until so many were killed.
class Killing : public testing::Test {
 protected:
  void makeLibrary() {
    folder_ = std::make_unique<TemporaryFolder>();
    acknowledged_ += ledger_.acknowledged();
    ledger_ = {};
  }

  void killOneWhoChanges(unsigned seed) {
    std::mt19937 random(seed);
    const Moment moment = randomMoment(random);
    SCOPED_TRACE("kill " + std::to_string(kills_) + ", seed " + std::to_string(seed) + ", after " +
                 std::to_string(moment.lines) + " lines and " +
                 std::to_string(moment.later.count()) + " us");
    const std::size_t backups = ledger_.backups();
    const std::vector<Line> lines = runAndKill("mix", seed, moment);
    EXPECT_GE(lines.size(), moment.lines) << "it stopped by itself";
    if (std::filesystem::exists(library() + "/library.sqlite")) {
      EXPECT_EQ(findingsIn(library()), "");
    }
    const bool didBackUp = std::ranges::find(lines, Line{"backup"}) != lines.end();
    if (didBackUp && backups > 0) expectBackupInUse();
    expectAllThere();
    if (didBackUp) expectBackupGoesOn();
  }

  /// The library is as it was when it is repaired, by whoever gets to the end of it.
  void killOneWhoRepairs(unsigned seed) {
    SCOPED_TRACE("kill " + std::to_string(kills_) + " of a repair, seed " + std::to_string(seed));
    std::mt19937 random(seed);
    keepASnapshot(library());
    damageCatalogue(library(), random);
    std::vector<Line> lines;
    for (int i = 0; i < 3 && workCutShort(lines) != ""; ++i) {
      lines = runAndKill("repair", seed, {1, microseconds(random() % 60'000)});
    }
    if (!workCutShort(lines).empty()) {
      const auto report = checkLibrary(library(), {.repair = true});
      ASSERT_TRUE(report) << report.error().sentence();
    }
    expectAllThere();
  }

  std::string library() const { return *folder_ / "library"; }
  int kills() const { return kills_; }

  void tellCounts() const {
    std::cout << kills_ << " kills, " << acknowledged_ + ledger_.acknowledged()
              << " changes acknowledged; killed in the middle:";
    for (const auto& [work, count] : cutShort_) std::cout << " " << work << " " << count;
    std::cout << "\n";
  }

 private:
  std::string backup() const { return library() + "-backup"; }

  /// What it told; its changes are in the ledger afterwards.
  std::vector<Line> runAndKill(const std::string& job, unsigned seed, const Moment& moment) {
    ChangerProcess changer(library(), job, seed);
    changer.readLines(moment.lines, kPatience);
    changer.readLines(std::numeric_limits<std::size_t>::max(), moment.later);
    changer.kill();
    ledger_.note(changer.lines());
    const std::vector<Line>& lines = changer.lines();
    if (lines.empty() || lines.back().front() != "end") ++kills_;
    if (const std::string work = workCutShort(lines); !work.empty()) ++cutShort_[work];
    return lines;
  }

  void expectAllThere() {
    const auto state = readState(library());
    ASSERT_TRUE(state) << state.error().sentence();
    ledger_.compare(*state);
    ledger_.compareSnapshots(snapshotsIn(library()));
    EXPECT_EQ(findingsIn(library()), "");
  }

  /// Whoever made it has been told that it is one.
  void expectBackupInUse() {
    const auto state = readState(backup());
    ASSERT_TRUE(state) << state.error().sentence();
    for (const auto& [identifier, asset] : state->assets) EXPECT_TRUE(isWhole(asset)) << identifier;
  }

  void expectBackupGoesOn() {
    const auto report = backUpLibrary(library(), backup(), {});
    ASSERT_TRUE(report) << report.error().sentence();
    EXPECT_TRUE(report->problems.empty());
    EXPECT_EQ(findingsIn(backup()), "");
    const auto original = readState(library());
    const auto copy = readState(backup());
    ASSERT_TRUE(original && copy);
    EXPECT_EQ(copy->albums, original->albums);
    EXPECT_EQ(copy->trash, original->trash);
    EXPECT_EQ(copy->assets.size(), original->assets.size());
    for (const auto& [identifier, asset] : copy->assets) {
      EXPECT_TRUE(original->assets.contains(identifier)) << identifier;
      EXPECT_TRUE(isWhole(asset)) << identifier;
    }
  }

  std::unique_ptr<TemporaryFolder> folder_;
  Ledger ledger_;
  int kills_ = 0;
  std::size_t acknowledged_ = 0;
  std::map<std::string, int> cutShort_;
};

TEST_F(Killing, LosesNoAnsweredChangeAndLeavesNoneInPart) {
  const char* wanted = std::getenv("QUORVIN_CRASH_KILLS");
  const int enough = wanted == nullptr ? 40 : std::atoi(wanted);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  const auto goesOn = [&] {
    if (kills() >= enough || HasFailure()) return false;
    return wanted != nullptr || std::chrono::steady_clock::now() < deadline;
  };
  std::random_device device;
  while (goesOn()) {
    makeLibrary();
    for (int round = 0; round < kRoundsOfALibrary && goesOn(); ++round) {
      const bool isRepair = round % kRoundsBetweenRepairs == kRoundsBetweenRepairs - 1;
      isRepair ? killOneWhoRepairs(device()) : killOneWhoChanges(device());
    }
  }
  tellCounts();
}

}  // namespace
}  // namespace quorvin
