// JSON to channel values and back.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "core/platform/value.h"

namespace quorvin {

/// Integers become codec integers (those between 2^63 and 2^64 large ones), numbers with a fraction
/// or exponent doubles. Keys keep their order. None, with one line in `error`, for text that is no
/// JSON, nests deeper than a message may, or holds an integer beyond 64 bits.
std::optional<Value> valueFromJson(std::string_view text, std::string& error);

/// A byte buffer becomes {"bytes": its size}, a number that is not finite null, a large integer the
/// text of its hexadecimal digits, and a key that is no text the text of its JSON.
nlohmann::ordered_json jsonFromValue(const Value& value);

/// UTF-8 on one line, or indented by so many blanks. Bytes that are no UTF-8 are replaced; control
/// characters are escaped, so that printing it cannot command a terminal.
std::string textOf(const nlohmann::ordered_json& json, int indent = -1);

}  // namespace quorvin
