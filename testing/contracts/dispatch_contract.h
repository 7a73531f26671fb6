// What every implementation of the dispatch queues holds to.
//
// A subject is default-constructible on the thread that is to be the platform thread, and has:
//   Dispatch& dispatch();
//   template <class Done> void runUntil(Done done);
// `runUntil` runs main-queue items on the calling thread until `done()` is true; background items
// run meanwhile. `done` changes only inside main-queue items.
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(Linux, DispatchContract, LinuxSubject);
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

#include "core/platform/dispatch.h"

namespace quorvin {

template <class Subject>
class DispatchContract : public testing::Test {
 protected:
  DispatchQueue& main() { return subject_.dispatch().mainQueue(); }
  DispatchQueue& background() {
    return subject_.dispatch().globalQueue(QualityOfService::background);
  }
  template <class Done>
  void runUntil(Done done) {
    subject_.runUntil(done);
  }

 private:
  Subject subject_;
};

TYPED_TEST_SUITE_P(DispatchContract);

TYPED_TEST_P(DispatchContract, SubmittingToTheMainQueueDoesNotRunTheItem) {
  bool ran = false;
  this->main().async([&ran] { ran = true; });
  EXPECT_FALSE(ran);
  this->runUntil([&ran] { return ran; });
  EXPECT_TRUE(ran);
}

TYPED_TEST_P(DispatchContract, RunsMainItemsInOrderOfSubmission) {
  std::vector<int> order;
  for (int i = 0; i < 100; ++i) {
    this->main().async([&order, i] { order.push_back(i); });
  }
  this->runUntil([&order] { return order.size() == 100; });
  std::vector<int> expected(100);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(order, expected);
}

TYPED_TEST_P(DispatchContract, RunsAMainItemThatAnItemSubmitsAfterThoseThatWait) {
  std::vector<int> order;
  this->main().async([this, &order] {
    order.push_back(1);
    this->main().async([&order] { order.push_back(3); });
  });
  this->main().async([&order] { order.push_back(2); });
  this->runUntil([&order] { return order.size() == 3; });
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TYPED_TEST_P(DispatchContract, RunsMainItemsOnThePlatformThreadWhereverTheyComeFrom) {
  std::thread::id ranOn;
  this->background().async(
      [this, &ranOn] { this->main().async([&ranOn] { ranOn = std::this_thread::get_id(); }); });
  this->runUntil([&ranOn] { return ranOn != std::thread::id(); });
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TYPED_TEST_P(DispatchContract, RunsBackgroundItemsOnOtherThreads) {
  std::thread::id ranOn;
  bool done = false;
  this->background().async([this, &ranOn, &done] {
    ranOn = std::this_thread::get_id();
    this->main().async([&done] { done = true; });
  });
  this->runUntil([&done] { return done; });
  EXPECT_NE(ranOn, std::thread::id());
  EXPECT_NE(ranOn, std::this_thread::get_id());
}

TYPED_TEST_P(DispatchContract, RunsEveryBackgroundItemOnce) {
  constexpr std::size_t kItems = 200;
  std::vector<std::atomic<int>> runs(kItems);
  std::size_t finished = 0;
  for (std::size_t i = 0; i < kItems; ++i) {
    this->background().async([this, &runs, &finished, i] {
      ++runs[i];
      this->main().async([&finished] { ++finished; });
    });
  }
  this->runUntil([&finished] { return finished == kItems; });
  for (const auto& each : runs) EXPECT_EQ(each.load(), 1);
}

TYPED_TEST_P(DispatchContract, RunsABackgroundItemThatABackgroundItemSubmits) {
  bool done = false;
  this->background().async([this, &done] {
    this->background().async([this, &done] { this->main().async([&done] { done = true; }); });
  });
  this->runUntil([&done] { return done; });
  EXPECT_TRUE(done);
}

TYPED_TEST_P(DispatchContract, KeepsTheOrderOfTheMainItemsOfOneBackgroundItem) {
  std::vector<int> order;
  this->background().async([this, &order] {
    for (int i = 0; i < 3; ++i) this->main().async([&order, i] { order.push_back(i); });
  });
  this->runUntil([&order] { return order.size() == 3; });
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
}

TYPED_TEST_P(DispatchContract, ReleasesWhatAMainItemHoldsBeforeTheNextItemRuns) {
  auto held = std::make_shared<int>();
  const std::weak_ptr<int> watched = held;
  bool done = false;
  bool released = false;
  this->main().async([held = std::move(held)] {});
  this->main().async([&watched, &released, &done] {
    released = watched.expired();
    done = true;
  });
  this->runUntil([&done] { return done; });
  EXPECT_TRUE(released);
}

TYPED_TEST_P(DispatchContract, ReleasesWhatABackgroundItemHoldsOnceItRan) {
  bool released = false;
  const auto release = [this, &released](int* object) {
    delete object;
    this->main().async([&released] { released = true; });
  };
  this->background().async([held = std::shared_ptr<int>(new int, release)] {});
  this->runUntil([&released] { return released; });
  EXPECT_TRUE(released);
}

REGISTER_TYPED_TEST_SUITE_P(DispatchContract, SubmittingToTheMainQueueDoesNotRunTheItem,
                            RunsMainItemsInOrderOfSubmission,
                            RunsAMainItemThatAnItemSubmitsAfterThoseThatWait,
                            RunsMainItemsOnThePlatformThreadWhereverTheyComeFrom,
                            RunsBackgroundItemsOnOtherThreads, RunsEveryBackgroundItemOnce,
                            RunsABackgroundItemThatABackgroundItemSubmits,
                            KeepsTheOrderOfTheMainItemsOfOneBackgroundItem,
                            ReleasesWhatAMainItemHoldsBeforeTheNextItemRuns,
                            ReleasesWhatABackgroundItemHoldsOnceItRan);

}  // namespace quorvin
