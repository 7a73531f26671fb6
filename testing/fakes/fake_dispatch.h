// Dispatch queues whose items run when the test says so, on the thread that it chooses.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "core/platform/dispatch.h"
#include "testing/fakes/event_log.h"

namespace quorvin {

/// Submitting logs "NAME.async". Any thread; items run outside the queue's own lock.
class ManualQueue : public DispatchQueue {
 public:
  /// The item that runs on a thread: `number` counts the queue's items from 1.
  struct Position {
    const ManualQueue* queue = nullptr;  ///< null: the thread runs no item
    std::size_t number = 0;
    friend bool operator==(const Position&, const Position&) = default;
  };
  /// What the calling thread runs.
  static Position current();

  ManualQueue(std::string name, EventLog& log) : name_(std::move(name)), log_(log) {}

  /// What happens when an item was submitted, on the submitter's thread. Set before other threads
  /// come in.
  std::function<void()> afterAsync;
  void async(std::function<void()> work) override;

  std::size_t waiting() const;
  /// Runs the waiting item at `index` on this thread; false when there is none.
  bool runNext(std::size_t index = 0);
  /// The same on a fresh thread, which it waits for.
  bool runNextOnNewThread(std::size_t index = 0);
  /// Starts the waiting item at `index`, which must exist, on a fresh thread, and returns at once.
  [[nodiscard]] std::thread start(std::size_t index = 0);

 private:
  struct Item {
    std::size_t number = 0;
    std::function<void()> work;
  };
  Item take(std::size_t index);
  void run(Item item) const;

  const std::string name_;
  EventLog& log_;
  mutable std::mutex mutex_;
  std::size_t submitted_ = 0;
  std::deque<Item> items_;
};

class FakeDispatch : public Dispatch {
 public:
  explicit FakeDispatch(EventLog& log) : main("main", log), background("background", log) {}

  DispatchQueue& mainQueue() override { return main; }
  DispatchQueue& globalQueue(QualityOfService) override { return background; }

  /// Runs background items, each on a fresh thread, and main items, on this thread, until none
  /// waits.
  void runToEnd();

  ManualQueue main;
  ManualQueue background;
};

}  // namespace quorvin
