#include "testing/fakes/fake_dispatch.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "testing/contracts/dispatch_contract.h"

namespace quorvin {
namespace {

class FakeDispatchSubject {
 public:
  Dispatch& dispatch() { return dispatch_; }
  template <class Done>
  void runUntil(Done done) {
    while (!done() && (dispatch_.background.runNextOnNewThread() || dispatch_.main.runNext())) {
    }
  }

 private:
  EventLog log_;
  FakeDispatch dispatch_{log_};
};

class ManualQueueTest : public testing::Test {
 protected:
  EventLog log;
  ManualQueue queue{"queue", log};
  std::vector<int> ran;
};

TEST_F(ManualQueueTest, RunsTheItemThatTheTestChooses) {
  for (int i = 0; i < 3; ++i) queue.async([this, i] { ran.push_back(i); });
  EXPECT_EQ(queue.waiting(), 3u);
  EXPECT_TRUE(queue.runNext(2));
  EXPECT_TRUE(queue.runNext());
  EXPECT_FALSE(queue.runNext(1));
  EXPECT_TRUE(queue.runNext());
  EXPECT_FALSE(queue.runNext());
  EXPECT_EQ(ran, (std::vector<int>{2, 0, 1}));
}

TEST_F(ManualQueueTest, LogsEachSubmission) {
  queue.async([] {});
  queue.async([] {});
  EXPECT_EQ(log.events(), (std::vector<std::string>{"queue.async", "queue.async"}));
}

TEST_F(ManualQueueTest, TellsWhichItemAThreadRuns) {
  using Position = ManualQueue::Position;
  Position inner;
  Position afterInner;
  queue.async([this, &inner, &afterInner] {
    queue.async([&inner] { inner = ManualQueue::current(); });
    queue.runNext();
    afterInner = ManualQueue::current();
  });
  EXPECT_EQ(ManualQueue::current(), Position());
  queue.runNext();
  EXPECT_EQ(inner, (Position{&queue, 2}));
  EXPECT_EQ(afterInner, (Position{&queue, 1}));
  EXPECT_EQ(ManualQueue::current(), Position());
}

TEST_F(ManualQueueTest, StartsAnItemThatTheTestJoinsLater) {
  std::thread::id id;
  queue.async([&id] { id = std::this_thread::get_id(); });
  std::thread thread = queue.start();
  EXPECT_EQ(queue.waiting(), 0u);
  const std::thread::id started = thread.get_id();
  thread.join();
  EXPECT_EQ(id, started);
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, DispatchContract, FakeDispatchSubject);

}  // namespace quorvin
