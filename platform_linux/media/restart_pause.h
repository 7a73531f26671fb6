// How long to wait before yet another worker is started, when the last ones came to nothing.
#pragma once

#include <chrono>

namespace quorvin {

/// A program that cannot run, or a folder full of files that kill it, must not keep the machine
/// busy with starts. One thread at a time.
class RestartPause {
 public:
  using Clock = std::chrono::steady_clock;

  /// Deaths in a row that cost no pause.
  static constexpr int kFreeDeaths = 3;
  static constexpr std::chrono::milliseconds kShortest{50};
  static constexpr std::chrono::milliseconds kLongest{5000};

  /// A worker ended that had never answered; `atStart`: before it took a request at all.
  void died(Clock::time_point now, bool atStart);
  /// A worker is started: while others come to nothing, the next one has to wait again.
  void started(Clock::time_point now);
  void succeeded() { *this = {}; }

  /// No worker should be started before then.
  Clock::time_point end() const { return end_; }
  /// The workers do not even start, so that no request has anything to hope for.
  bool isHopeless() const { return deathsAtStart_ > kFreeDeaths; }
  int deathsAtStart() const { return deathsAtStart_; }

 private:
  /// 0 as long as deaths are free, then twice as long after each.
  std::chrono::milliseconds length() const;

  int deaths_ = 0;  ///< in a row
  int deathsAtStart_ = 0;
  Clock::time_point end_ = Clock::time_point::min();
};

}  // namespace quorvin
