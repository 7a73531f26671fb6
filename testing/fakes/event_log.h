// What happened, in order: every fake writes into one log, so that tests can check the order of
// platform calls across the platform's parts.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace quorvin {

/// Told of a call that no correct caller makes; a test fails there, a fuzzer stops.
using OnMisuse = std::function<void(const std::string& what)>;

/// Any thread.
class EventLog {
 public:
  void add(std::string event);
  std::vector<std::string> events() const;
  /// The events that begin with `prefix`, in order.
  std::vector<std::string> eventsOf(std::string_view prefix) const;
  std::size_t count(std::string_view prefix) const { return eventsOf(prefix).size(); }
  void clear();
  /// Nothing is written any more: for many threads, which the log would otherwise line up.
  void stop() { stopped_.store(true, std::memory_order_relaxed); }

 private:
  std::atomic<bool> stopped_ = false;
  mutable std::mutex mutex_;
  std::vector<std::string> events_;
};

}  // namespace quorvin
