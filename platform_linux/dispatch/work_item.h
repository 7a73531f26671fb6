// Running one item of work.
#pragma once

#include <exception>
#include <functional>
#include <new>

namespace quorvin {

/// Runs the item and destroys what it holds. An item for which memory runs out ends there, and
/// nothing else does: the process is its host's. Any other exception that leaves an item is a
/// programming error, which swallowed would leave a call silently unanswered: it ends the process.
inline void runWorkItem(std::function<void()>& work) noexcept {
  try {
    work();
  } catch (const std::bad_alloc&) {
  } catch (...) {
    std::terminate();  // names the exception
  }
  work = nullptr;
}

}  // namespace quorvin
