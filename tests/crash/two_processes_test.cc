// Two processes change one library at once.
//
// QUORVIN_CRASH_SECONDS makes it last.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <random>

#include "testing/platform/testing_folder.h"
#include "tests/crash/changer_process.h"
#include "tests/crash/ledger.h"
#include "tests/crash/library_state.h"

namespace quorvin {
namespace {

constexpr std::size_t kAllLines = std::numeric_limits<std::size_t>::max();

std::chrono::seconds duration() {
  const char* seconds = std::getenv("QUORVIN_CRASH_SECONDS");
  return std::chrono::seconds(seconds == nullptr ? 5 : std::atoi(seconds));
}

void expectSound(const std::string& library, Ledger& ledger) {
  EXPECT_EQ(findingsIn(library), "");
  const auto state = readState(library);
  ASSERT_TRUE(state) << state.error().sentence();
  ledger.compare(*state);
}

TEST(TwoProcesses, ChangeOneLibraryWithoutLosingOrRefusingAnything) {
  const TemporaryFolder folder;
  const std::string library = folder / "library";
  Ledger ledger;
  {
    ChangerProcess one(library, "mixOwn", 1);
    ChangerProcess other(library, "mixOwn", 2);
    const auto until = std::chrono::steady_clock::now() + duration();
    while (std::chrono::steady_clock::now() < until) {
      one.readLines(kAllLines, std::chrono::milliseconds(50));
      other.readLines(kAllLines, std::chrono::milliseconds(50));
    }
    for (ChangerProcess* each : {&one, &other}) {
      each->ask();
      EXPECT_EQ(each->wait(kPatience), 0);
      ASSERT_FALSE(each->lines().empty());
      EXPECT_EQ(each->lines().back().front(), "end");
      EXPECT_GT(each->lines().size(), 10U);
      ledger.note(each->lines());
    }
  }
  expectSound(library, ledger);
  std::cout << ledger.acknowledged() << " changes acknowledged\n";
}

TEST(TwoProcesses, SufferNothingWhenOneOfThemIsKilled) {
  const TemporaryFolder folder;
  const std::string library = folder / "library";
  std::mt19937 random(std::random_device{}());
  Ledger ledger;
  ChangerProcess survivor(library, "mixOwn", 1);
  const auto until = std::chrono::steady_clock::now() + duration();
  int kills = 0;
  while (std::chrono::steady_clock::now() < until) {
    ChangerProcess victim(library, "mixOwn", static_cast<unsigned>(random()));
    victim.readLines(1 + random() % 16, kPatience);
    victim.readLines(kAllLines, std::chrono::microseconds(random() % 10'000));
    victim.kill();
    ledger.note(victim.lines());
    survivor.readLines(kAllLines, std::chrono::milliseconds(1));
    ++kills;
  }
  survivor.ask();
  EXPECT_EQ(survivor.wait(kPatience), 0);
  ledger.note(survivor.lines());
  expectSound(library, ledger);
  std::cout << kills << " kills, " << ledger.acknowledged() << " changes acknowledged\n";
}

}  // namespace
}  // namespace quorvin
