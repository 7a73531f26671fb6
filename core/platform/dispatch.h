// Dispatch queues.
#pragma once

#include <functional>

namespace quorvin {

/// Runs work items. Any thread may submit; `async` returns at once and never runs the item itself.
class DispatchQueue {
 public:
  virtual ~DispatchQueue() = default;
  virtual void async(std::function<void()> work) = 0;
};

enum class QualityOfService { background };

/// The system's queues. They live as long as the platform.
class Dispatch {
 public:
  virtual ~Dispatch() = default;
  /// Serial, in order of submission, on the platform thread.
  virtual DispatchQueue& mainQueue() = 0;
  /// Concurrent: items may run at the same time and finish in any order.
  virtual DispatchQueue& globalQueue(QualityOfService qualityOfService) = 0;
};

}  // namespace quorvin
