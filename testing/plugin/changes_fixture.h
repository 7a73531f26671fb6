// What the tests of the changes share.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {

/// The plugin, and changes that the test takes step by step, each step on a thread of its own.
class ChangeTest : public PluginTest {
 protected:
  using Names = std::vector<std::string>;
  using Takes = RequiredArgument::Takes;

  ChangeTest();
  ~ChangeTest() override;

  /// Runs what waits on the background queue.
  void runBackground();
  /// Runs the block of the oldest change that waits, or, after that, its completion.
  void stepChange();
  /// Runs one item of the main queue on this thread.
  void stepMain();

  /// Every change ends so, whatever came of it.
  void endChangesWith(bool success, std::optional<NSError> error);

  /// The reply was made on the main queue, on this thread.
  void expectFromMainQueue(const RecordedReply& reply, std::size_t index = 0);

  /// From now on every fetch notes the queue that it ran on, and that the manager's lock was free.
  std::shared_ptr<std::vector<const ManualQueue*>> watchFetches();

  const NSError failure{"Domain", 42, "The disk is on fire."};
  const Value failureText = Value("The disk is on fire.");
};

}  // namespace quorvin
