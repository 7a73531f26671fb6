// When files that appeared are complete.
#include "platform_linux/library/inbox/arrivals.h"

#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace quorvin {
namespace {

using namespace std::chrono_literals;

using Paths = std::vector<std::string>;

class FileArrivals : public testing::Test {
 protected:
  void put(const std::string& path, std::int64_t size) { files[path].size = size; }
  void come(const std::string& path, std::int64_t size) {
    put(path, size);
    arrivals.note(path, now);
  }
  Paths take() {
    Paths taken;
    for (const Arrival& each : arrivals.take(now)) taken.push_back(each.path);
    return taken;
  }

  std::map<std::string, SourceState> files;
  Arrivals::Time now{1h};
  Arrivals arrivals{{2s, 20s}, [this](const std::string& path) {
                      const auto file = files.find(path);
                      return file == files.end() ? std::nullopt : std::optional(file->second);
                    }};
};

TEST_F(FileArrivals, AreTakenTogetherOnceNoneCameForAWhile) {
  come("b", 1);
  now += 1s;
  come("a", 1);
  now += 1s;
  EXPECT_EQ(take(), Paths{});
  EXPECT_EQ(arrivals.next(), now + 1s);
  now += 1s;
  EXPECT_EQ(take(), (Paths{"a", "b"}));
  EXPECT_EQ(arrivals.next(), std::nullopt);
  EXPECT_EQ(take(), Paths{});
}

TEST_F(FileArrivals, WaitWhileTheyChangeWithoutAWord) {
  come("a", 1);
  for (int size = 2; size < 5; ++size) {
    now += 2s;
    put("a", size);
    EXPECT_EQ(take(), Paths{});
  }
  now += 2s;
  EXPECT_EQ(take(), Paths{"a"});
}

TEST_F(FileArrivals, WaitForTheEndOfWritingHoweverLongItRests) {
  come("a", 1);
  arrivals.noteWriting("a");
  EXPECT_EQ(arrivals.next(), std::nullopt);
  now += 1h;
  EXPECT_EQ(take(), Paths{});
  arrivals.noteWritten("a", now);
  EXPECT_EQ(take(), Paths{});
  now += 2s;
  EXPECT_EQ(take(), Paths{"a"});
}

TEST_F(FileArrivals, DoNotHoldUpOthersWhileTheyAreWritten) {
  come("a", 1);
  come("b", 1);
  now += 1s;
  arrivals.noteWriting("b");
  now += 1s;
  EXPECT_EQ(take(), Paths{"a"});
  EXPECT_EQ(arrivals.next(), std::nullopt);
  arrivals.doubtWriting();
  now += 2s;
  EXPECT_EQ(take(), Paths{"b"});
}

TEST_F(FileArrivals, AreTakenInTheEndThoughThereIsAlwaysAnotherOne) {
  Paths taken;
  for (int i = 10; i < 40 && taken.empty(); ++i) {
    come(std::to_string(i), 1);
    now += 1s;
    taken = take();
  }
  EXPECT_EQ(taken.size(), 19U);
  EXPECT_EQ(arrivals.next(), now + 1s);
}

TEST_F(FileArrivals, AreForgottenWhenTheyAreGoneOrEmpty) {
  come("a", 1);
  come("empty", 0);
  come("in/b", 1);
  come("in/c/d", 1);
  come("inn", 1);
  files.erase("a");
  arrivals.forgetBeneath("in");
  now += 2s;
  EXPECT_EQ(take(), Paths{"inn"});
  EXPECT_EQ(arrivals.next(), std::nullopt);
}

}  // namespace
}  // namespace quorvin
