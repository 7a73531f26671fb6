#include "tool/readable.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <ctime>

namespace quorvin {

std::string readableSize(std::int64_t bytes) {
  constexpr std::array kUnits = {"bytes", "kB", "MB", "GB", "TB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (size >= 1000 && unit + 1 < kUnits.size()) {
    size /= 1000;
    ++unit;
  }
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), unit == 0 ? "%.0f %s" : "%.1f %s", size, kUnits.at(unit));
  return text.data();
}

std::string readableTime(double seconds) {
  constexpr double kMinute = 60;
  constexpr double kHour = 60 * kMinute;
  std::array<char, 32> text{};
  if (seconds < 2 * kMinute) {
    std::snprintf(text.data(), text.size(), "%.1f s", seconds);
  } else if (seconds < 2 * kHour) {
    std::snprintf(text.data(), text.size(), "%.0f min", seconds / kMinute);
  } else {
    std::snprintf(text.data(), text.size(), "%.1f h", seconds / kHour);
  }
  return text.data();
}

std::string readableDay(const std::optional<NSDate>& date) {
  if (!date) return "none";
  const auto seconds = static_cast<std::time_t>(date->timeIntervalSince1970());
  std::tm local{};
  std::array<char, 64> text{};
  localtime_r(&seconds, &local);
  std::strftime(text.data(), text.size(), "%-d %B %Y", &local);
  return text.data();
}

}  // namespace quorvin
