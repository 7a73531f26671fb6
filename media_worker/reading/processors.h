// The processors of this machine.
#pragma once

#include <thread>

namespace quorvin {

/// Counted at the first call, for the system tells in a file.
inline unsigned processorCount() {
  static const unsigned count = std::thread::hardware_concurrency();
  return count;
}

}  // namespace quorvin
