// How long nobody has used the server.
#pragma once

#include <chrono>

namespace quorvin {

/// Who started the server from a menu has no other way to end it than to leave.
inline constexpr std::chrono::minutes kLongestUnused{5};
/// How often it is looked at.
inline constexpr std::chrono::seconds kLookAtUse{10};

class UnusedTime {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit UnusedTime(Time now) : lastUse_(now) {}

  /// Whether it was long enough, as it is looked at now.
  bool isOver(Time now, bool isInUse) {
    if (isInUse) lastUse_ = now;
    return now - lastUse_ >= kLongestUnused;
  }

 private:
  Time lastUse_;
};

}  // namespace quorvin
