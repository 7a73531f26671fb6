// What comes back for a message through the C interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

namespace quorvin {

struct Answer {
  int count = 0;                      ///< calls of the callback
  std::vector<std::uint8_t> message;  ///< the last one's
  std::thread::id thread{};

  /// The callback; `answer` lives until it is called.
  static void record(const std::uint8_t* message, std::size_t size, void* answer) {
    auto& self = *static_cast<Answer*>(answer);
    ++self.count;
    self.message.assign(message, message + size);
    self.thread = std::this_thread::get_id();
  }
};

}  // namespace quorvin
