#include "media_worker/metadata/metadata_dates.h"

#include <algorithm>
#include <chrono>
#include <ctime>

namespace quorvin {
namespace {

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kGreatestOffset = std::int64_t{14} * 3600;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view trimmed(std::string_view text) {
  const auto isBlank = [](char c) { return c == ' ' || c == '\0' || (c >= '\t' && c <= '\r'); };
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

/// Takes text from the front, piece by piece.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }
  std::string_view rest() const { return rest_; }

  bool skipOneOf(std::string_view characters) {
    if (rest_.empty() || characters.find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// Exactly `count` digits that make a number from `least` to `greatest`.
  bool number(std::size_t count, int least, int greatest, int& value) {
    if (rest_.size() < count || !std::all_of(rest_.begin(), rest_.begin() + count, isDigit)) {
      return false;
    }
    value = 0;
    for (const char digit : rest_.substr(0, count)) value = value * 10 + (digit - '0');
    rest_.remove_prefix(count);
    return value >= least && value <= greatest;
  }

  std::string_view digits() {
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), isDigit);
    const auto count = static_cast<std::size_t>(end - rest_.begin());
    const std::string_view result = rest_.substr(0, count);
    rest_.remove_prefix(count);
    return result;
  }

 private:
  std::string_view rest_;
};

/// Reads the time of day and what follows it into `date`.
bool scanTime(Scanner& scanner, WrittenDate& date) {
  int hour = 0;
  int minute = 0;
  int second = 0;
  if (!scanner.number(2, 0, 23, hour) || !scanner.skipOneOf(":") ||
      !scanner.number(2, 0, 59, minute)) {
    return false;
  }
  // 60 is a leap second; it counts on into the next minute.
  if (scanner.skipOneOf(":") && !scanner.number(2, 0, 60, second)) return false;
  if (scanner.skipOneOf(".,")) date.nanoseconds = parseSubSeconds(scanner.digits());
  date.seconds += std::int64_t{hour} * 3600 + std::int64_t{minute} * 60 + second;
  date.hasTime = true;
  const std::string_view zone = trimmed(scanner.rest());
  if (zone.empty()) return true;
  date.offset = parseOffset(zone);
  return date.offset.has_value();
}

/// Seconds since 1970 UTC of a clock of this machine's zone that shows `local`.
std::optional<std::int64_t> fromLocalZone(std::int64_t local) {
  const std::time_t asUtc = local;
  std::tm fields{};
  if (gmtime_r(&asUtc, &fields) == nullptr) return std::nullopt;
  fields.tm_isdst = -1;
  fields.tm_wday = -1;  // -1 is a valid second: only success sets the day of the week
  const std::time_t result = std::mktime(&fields);
  if (fields.tm_wday < 0) return std::nullopt;
  return result;
}

}  // namespace

std::optional<WrittenDate> parseDate(std::string_view text) {
  Scanner scanner(trimmed(text));
  int year = 0;
  int month = 1;
  int day = 1;
  WrittenDate date;
  if (!scanner.number(4, 1, 9999, year)) return std::nullopt;
  if (!scanner.atEnd() && (!scanner.skipOneOf(":-") || !scanner.number(2, 1, 12, month))) {
    return std::nullopt;
  }
  const bool hasDay = !scanner.atEnd();
  if (hasDay && (!scanner.skipOneOf(":-") || !scanner.number(2, 1, 31, day))) return std::nullopt;
  const std::chrono::year_month_day civil{std::chrono::year(year),
                                          std::chrono::month(static_cast<unsigned>(month)),
                                          std::chrono::day(static_cast<unsigned>(day))};
  if (!civil.ok()) return std::nullopt;
  date.seconds = std::chrono::sys_days(civil).time_since_epoch().count() * std::int64_t{86400};
  if (scanner.atEnd()) return date;
  if (!scanner.skipOneOf(" T") || !scanTime(scanner, date)) return std::nullopt;
  return date;
}

std::optional<std::int64_t> parseOffset(std::string_view text) {
  text = trimmed(text);
  if (text == "Z" || text == "z") return 0;
  Scanner scanner(text);
  const bool west = text.starts_with('-');
  int hours = 0;
  int minutes = 0;
  if (!scanner.skipOneOf("+-") || !scanner.number(2, 0, 14, hours)) return std::nullopt;
  if (!scanner.atEnd()) {
    scanner.skipOneOf(":");
    if (!scanner.number(2, 0, 59, minutes) || !scanner.atEnd()) return std::nullopt;
  }
  const std::int64_t seconds = std::int64_t{hours} * 3600 + std::int64_t{minutes} * 60;
  if (seconds > kGreatestOffset) return std::nullopt;
  return west ? -seconds : seconds;
}

std::int64_t parseSubSeconds(std::string_view digits) {
  std::int64_t nanoseconds = 0;
  std::int64_t unit = kNanosecondsPerSecond / 10;
  for (const char digit : digits) {
    if (!isDigit(digit)) break;
    nanoseconds += (digit - '0') * unit;
    unit /= 10;
  }
  return nanoseconds;
}

std::optional<std::int64_t> offsetBetween(std::int64_t local, std::int64_t utc) {
  constexpr std::int64_t kStep = 900;  // 15 minutes
  const std::int64_t difference = local - utc;
  const std::int64_t half = difference < 0 ? -kStep / 2 : kStep / 2;
  const std::int64_t rounded = (difference + half) / kStep * kStep;
  if (rounded < -kGreatestOffset || rounded > kGreatestOffset) return std::nullopt;
  return rounded;
}

std::optional<std::int64_t> toNanoseconds(const WrittenDate& date) {
  const auto seconds =
      date.offset ? std::optional(date.seconds - *date.offset) : fromLocalZone(date.seconds);
  std::int64_t nanoseconds = 0;
  if (!seconds || __builtin_mul_overflow(*seconds, kNanosecondsPerSecond, &nanoseconds) ||
      __builtin_add_overflow(nanoseconds, date.nanoseconds, &nanoseconds)) {
    return std::nullopt;
  }
  return nanoseconds;
}

}  // namespace quorvin
