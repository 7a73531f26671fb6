#include "testing/fakes/event_log.h"

#include <utility>

namespace quorvin {

void EventLog::add(std::string event) {
  if (stopped_.load(std::memory_order_relaxed)) return;
  const std::lock_guard guard(mutex_);
  events_.push_back(std::move(event));
}

std::vector<std::string> EventLog::events() const {
  return eventsOf("");
}

std::vector<std::string> EventLog::eventsOf(std::string_view prefix) const {
  const std::lock_guard guard(mutex_);
  std::vector<std::string> matching;
  for (const std::string& event : events_) {
    if (event.starts_with(prefix)) matching.push_back(event);
  }
  return matching;
}

void EventLog::clear() {
  const std::lock_guard guard(mutex_);
  events_.clear();
}

}  // namespace quorvin
