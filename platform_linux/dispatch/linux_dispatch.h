// The system's dispatch queues on Linux.
#pragma once

#include <memory>

#include "core/platform/dispatch.h"
#include "platform_linux/dispatch/background_queue.h"
#include "platform_linux/dispatch/main_queue.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

/// The main queue, which the platform thread runs, and the one global queue. Any thread.
///
/// To end: `globalQueue(…).shutDown()`, whose last items may still submit to the main queue, then
/// `mainQueue().close()`; destruction does both.
class LinuxDispatch final : public Dispatch {
 public:
  /// Fails when the process has no file descriptor or no thread left.
  static Result<std::unique_ptr<LinuxDispatch>> create();

  MainQueue& mainQueue() override { return mainQueue_; }
  BackgroundQueue& globalQueue(QualityOfService) override { return backgroundQueue_; }

 private:
  explicit LinuxDispatch(FileDescriptor event) : mainQueue_(std::move(event)) {}

  MainQueue mainQueue_;
  BackgroundQueue backgroundQueue_;  // its items use the main queue, so it goes first
};

}  // namespace quorvin
