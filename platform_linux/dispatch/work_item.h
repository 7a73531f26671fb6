// Running one item of work.
#pragma once

#include <functional>

namespace quorvin {

/// Runs the item and destroys what it holds. An exception that leaves it is a programming error;
/// swallowed, it would leave a call silently unanswered. It ends the process here, with the frame
/// that threw still on the stack.
inline void runWorkItem(std::function<void()>& work) noexcept {
  work();
  work = nullptr;
}

}  // namespace quorvin
