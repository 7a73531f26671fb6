#include "testing/plugin/changes_fixture.h"

#include <thread>
#include <utility>

namespace quorvin {

ChangeTest::ChangeTest() = default;
ChangeTest::~ChangeTest() = default;

void ChangeTest::runBackground() {
  while (plugin.platform.dispatch.background.runNextOnNewThread()) {
  }
}

void ChangeTest::stepChange() {
  EXPECT_TRUE(library.changes.runNextOnNewThread()) << "no change waits";
}

void ChangeTest::stepMain() {
  EXPECT_TRUE(plugin.platform.dispatch.main.runNext()) << "no item waits";
}

void ChangeTest::endChangesWith(bool success, std::optional<NSError> error) {
  library.beforeCompletion = [success, error = std::move(error)](
                                 bool& told, std::optional<NSError>& toldError) {
    told = success;
    toldError = error;
  };
}

void ChangeTest::expectFromMainQueue(const RecordedReply& reply, std::size_t index) {
  const RecordedReply::Answer answer = reply.answer(index);
  EXPECT_EQ(answer.position.queue, &plugin.platform.dispatch.main);
  EXPECT_EQ(answer.thread, std::this_thread::get_id());
}

std::shared_ptr<std::vector<const ManualQueue*>> ChangeTest::watchFetches() {
  auto queues = std::make_shared<std::vector<const ManualQueue*>>();
  library.duringFetch = [queues, manager = plugin.manager()] {
    queues->push_back(ManualQueue::current().queue);
    EXPECT_FALSE(manager.lockIsHeld());
  };
  return queues;
}

}  // namespace quorvin
