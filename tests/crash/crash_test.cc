// A process that changes a library is killed at any moment, again and again: what it was answered
// is there, and what it was not is there whole or not at all.
//
// QUORVIN_CRASH_KILLS makes it last: that many kills, however long they take.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <random>

#include "testing/platform/testing_folder.h"
#include "tests/crash/changer_process.h"
#include "tests/crash/ledger.h"
#include "tests/crash/library_state.h"

namespace quorvin {
namespace {

using std::chrono::microseconds;

constexpr int kRoundsOfALibrary = 40;

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

/// Its changes are in the ledger afterwards.
void killOne(const std::string& library, unsigned seed, const Moment& moment, Ledger& ledger) {
  ChangerProcess changer(library, "mix", seed);
  changer.readLines(moment.lines, kPatience);
  EXPECT_GE(changer.lines().size(), moment.lines) << "it stopped by itself";
  changer.readLines(std::numeric_limits<std::size_t>::max(), moment.later);
  changer.kill();
  ledger.note(changer.lines());
}

TEST(KilledProcess, LosesNoAnsweredChangeAndLeavesNoneInPart) {
  const char* wanted = std::getenv("QUORVIN_CRASH_KILLS");
  const int kills = wanted == nullptr ? 40 : std::atoi(wanted);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
  std::random_device device;
  int done = 0;
  std::size_t acknowledged = 0;
  while (done < kills && !HasFailure()) {
    const TemporaryFolder folder;
    const std::string library = folder / "library";
    Ledger ledger;
    for (int round = 0; round < kRoundsOfALibrary && done < kills && !HasFailure(); ++round) {
      if (wanted == nullptr && std::chrono::steady_clock::now() > deadline) {
        done = kills;
        break;
      }
      const unsigned seed = device();
      std::mt19937 random(seed);
      const Moment moment = randomMoment(random);
      SCOPED_TRACE("kill " + std::to_string(done) + ", seed " + std::to_string(seed) + ", after " +
                   std::to_string(moment.lines) + " lines and " +
                   std::to_string(moment.later.count()) + " us");
      killOne(library, seed, moment, ledger);
      ++done;
      if (std::filesystem::exists(library + "/library.sqlite")) {
        EXPECT_EQ(findingsIn(library), "");
      }
      const auto state = readState(library);
      ASSERT_TRUE(state) << state.error().sentence();
      ledger.compare(*state);
      EXPECT_EQ(findingsIn(library), "");
    }
    acknowledged += ledger.acknowledged();
  }
  std::cout << done << " kills, " << acknowledged << " changes acknowledged\n";
}

}  // namespace
}  // namespace quorvin
