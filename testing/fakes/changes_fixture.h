// What the tests of the changes share.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "testing/fakes/plugin_fixture.h"

namespace quorvin {

/// The plugin, and changes that the test takes step by step, each step on a thread of its own.
class ChangeTest : public PluginTest {
 protected:
  using Names = std::vector<std::string>;
  using Takes = RequiredArgument::Takes;

  /// Runs what waits on the background queue.
  void runBackground() {
    while (plugin.platform.dispatch.background.runNextOnNewThread()) {
    }
  }
  /// Runs the block of the oldest change that waits, or, after that, its completion.
  void stepChange() { EXPECT_TRUE(library.changes.runNextOnNewThread()) << "no change waits"; }
  /// Runs one item of the main queue on this thread.
  void stepMain() { EXPECT_TRUE(plugin.platform.dispatch.main.runNext()) << "no item waits"; }

  /// Every change ends so, whatever came of it.
  void endChangesWith(bool success, std::optional<NSError> error) {
    library.beforeCompletion = [success, error = std::move(error)](
                                   bool& told, std::optional<NSError>& toldError) {
      told = success;
      toldError = error;
    };
  }

  /// The reply was made on the main queue, on this thread.
  void expectFromMainQueue(const RecordedReply& reply, std::size_t index = 0) {
    const RecordedReply::Answer answer = reply.answer(index);
    EXPECT_EQ(answer.position.queue, &plugin.platform.dispatch.main);
    EXPECT_EQ(answer.thread, std::this_thread::get_id());
  }

  /// From now on every fetch notes the queue that it ran on, and that the manager's lock was free.
  std::shared_ptr<std::vector<const ManualQueue*>> watchFetches() {
    auto queues = std::make_shared<std::vector<const ManualQueue*>>();
    library.duringFetch = [queues, manager = plugin.manager()] {
      queues->push_back(ManualQueue::current().queue);
      EXPECT_FALSE(manager.lockIsHeld());
    };
    return queues;
  }

  const NSError failure{"Domain", 42, "The disk is on fire."};
  const Value failureText = Value("The disk is on fire.");
};

}  // namespace quorvin
