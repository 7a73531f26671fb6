// Dates of the catalogue as dates of records.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "core/platform/foundation.h"

namespace quorvin {

/// Nanoseconds since 1970 as a date whose seconds, times 1000, truncate to the same millisecond.
/// The nearest double may fall just short of it.
inline NSDate dateFromNanoseconds(std::int64_t nanoseconds) {
  const std::int64_t milliseconds = nanoseconds / 1'000'000;
  double seconds = static_cast<double>(nanoseconds) / 1e9;
  for (auto found = static_cast<std::int64_t>(seconds * 1000.0); found != milliseconds;
       found = static_cast<std::int64_t>(seconds * 1000.0)) {
    const double towards = found < milliseconds ? std::numeric_limits<double>::infinity()
                                                : -std::numeric_limits<double>::infinity();
    seconds = std::nextafter(seconds, towards);
  }
  return NSDate(seconds);
}

}  // namespace quorvin
