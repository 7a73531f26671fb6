// Dates as cameras write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace quorvin {

/// A date and time of day as written.
struct WrittenDate {
  std::int64_t seconds = 0;            ///< since 1970-01-01 00:00 of the writer's own clock
  std::int64_t nanoseconds = 0;        ///< 0 to 999,999,999
  bool hasTime = false;                ///< false: a day, month or year alone, at its beginning
  std::optional<std::int64_t> offset;  ///< seconds east of UTC, when written
};

/// Reads "YYYY:MM:DD HH:MM:SS" of Exif and the forms of ISO 8601 that XMP and movies use: "YYYY",
/// "YYYY-MM", "YYYY-MM-DD" and "YYYY-MM-DDThh:mm[:ss[.fraction]][Z|±hh[:]mm]". Blanks and zero
/// bytes around it are cut. None for what is no date of the years 1 to 9999.
std::optional<WrittenDate> parseDate(std::string_view text);

/// "Z", "+02:00", "-0530", "+02"; seconds east of UTC, within 14 hours.
std::optional<std::int64_t> parseOffset(std::string_view text);

/// The digits of a decimal fraction of a second: "5" is half a second, "050" a twentieth. What
/// follows the digits is ignored.
std::int64_t parseSubSeconds(std::string_view digits);

/// The offset of a clock that showed `local` at the moment `utc`: the difference, rounded to 15
/// minutes; none when no zone is that far away. Both in seconds since 1970.
std::optional<std::int64_t> offsetBetween(std::int64_t local, std::int64_t utc);

/// UTC, nanoseconds since 1970. A date without an offset is read in this machine's zone at that
/// time. None when the date is too far from 1970 to be held (before 1677 or after 2262).
std::optional<std::int64_t> toNanoseconds(const WrittenDate& date);

}  // namespace quorvin
