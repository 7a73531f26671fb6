// How much memory this process and its children take.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <thread>

namespace quorvin {

/// Of this process, by its name in /proc/self/status: "VmRSS:", "VmHWM:". Bytes.
std::int64_t ownMemory(std::string_view name);

/// "VmHWM:" counts from now on.
void forgetHighestMemory();

/// Looks again and again at what all children together have in memory, as long as it lives.
class ChildrenMemory {
 public:
  ChildrenMemory();
  ~ChildrenMemory();
  ChildrenMemory(const ChildrenMemory&) = delete;
  ChildrenMemory& operator=(const ChildrenMemory&) = delete;

  /// The most that was seen. Bytes.
  std::int64_t highest() const { return highest_; }

 private:
  void watch();

  std::atomic<bool> ends_ = false;
  std::atomic<std::int64_t> highest_ = 0;
  std::thread thread_;
};

}  // namespace quorvin
