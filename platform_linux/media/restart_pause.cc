#include "platform_linux/media/restart_pause.h"

#include <algorithm>

namespace quorvin {

void RestartPause::died(Clock::time_point now, bool atStart) {
  ++deaths_;
  deathsAtStart_ = atStart ? deathsAtStart_ + 1 : 0;
  started(now);
}

void RestartPause::started(Clock::time_point now) {
  if (deaths_ > kFreeDeaths) end_ = std::max(end_, now + length());
}

std::chrono::milliseconds RestartPause::length() const {
  auto length = kShortest;
  for (int i = kFreeDeaths + 1; i < deaths_ && length < kLongest; ++i) length *= 2;
  return std::min(length, kLongest);
}

}  // namespace quorvin
