// Sizes and days as people like to read them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/platform/foundation.h"

namespace quorvin {

/// "1.5 MB".
std::string readableSize(std::int64_t bytes);

/// "3.1 s", "12 min" or "2.5 h".
std::string readableTime(double seconds);

/// "7 March 2024", where the reader is; "none" without a date.
std::string readableDay(const std::optional<NSDate>& date);

}  // namespace quorvin
