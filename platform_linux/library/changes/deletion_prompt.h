// Asks the user before assets are deleted.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "core/platform/dispatch.h"
#include "core/platform/lock.h"

namespace quorvin {

/// Any thread but the main queue's; one question at a time.
class DeletionPrompt {
 public:
  /// `ask` is given the number of assets and runs on the main queue, which is not owned. Empty:
  /// there is nobody to ask, and whoever deletes has decided.
  DeletionPrompt(std::function<bool(std::size_t assetCount)> ask, DispatchQueue* mainQueue);
  ~DeletionPrompt() { withdraw(); }
  DeletionPrompt(const DeletionPrompt&) = delete;
  DeletionPrompt& operator=(const DeletionPrompt&) = delete;

  bool isEmpty() const { return !ask_; }

  /// Waits for the answer. A question that the main queue drops, or that is withdrawn, counts as
  /// refused.
  bool allows(std::size_t assetCount);

  /// Every question, also one that waits for its answer, is refused from now on, and `ask` is not
  /// called any more.
  void withdraw();

 private:
  class Question;

  const std::function<bool(std::size_t)> ask_;
  DispatchQueue* const mainQueue_;
  NSLock lock_;
  bool isWithdrawn_ QUORVIN_GUARDED_BY(lock_) = false;
  std::shared_ptr<Question> open_ QUORVIN_GUARDED_BY(lock_);
};

}  // namespace quorvin
