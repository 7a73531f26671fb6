// Values in a form that other languages read exactly.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "core/platform/value.h"

namespace quorvin {

std::string hexadecimal(std::span<const std::uint8_t> bytes);

/// Null, booleans, texts and lists as they are; everything else as an object with one key that
/// names the kind. Integers are decimal texts, and doubles and floats the hexadecimal digits of
/// their bits.
nlohmann::ordered_json described(const Value& value);

}  // namespace quorvin
