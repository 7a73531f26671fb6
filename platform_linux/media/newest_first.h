// The order in which those who wait are served where the newest matter most.
#pragma once

#include <deque>
#include <utility>

namespace quorvin {

/// Who scrolls looks at what was asked for last. So that nobody waits for good, every fourth turn
/// goes to who waits the longest. Guarded like the queue that it takes from.
class NewestFirst {
 public:
  /// Takes the next one out of those who wait, the oldest of which stands first; not of none.
  template <class T>
  T take(std::deque<T>& waiting) {
    taken_ = (taken_ + 1) % kTurnsOfAll;
    if (taken_ == 0) return takeOldest(waiting);
    T next = std::move(waiting.back());
    waiting.pop_back();
    return next;
  }

  template <class T>
  static T takeOldest(std::deque<T>& waiting) {
    T next = std::move(waiting.front());
    waiting.pop_front();
    return next;
  }

 private:
  static constexpr int kTurnsOfAll = 4;

  int taken_ = 0;
};

}  // namespace quorvin
