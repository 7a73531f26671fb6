// The standard message codec: one value as bytes, and back.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// The bytes of a value; integers take the narrower of their two forms. Texts must be UTF-8, the
/// digits of a large integer hexadecimal. Throws std::length_error beyond 2^32 - 1 elements in one
/// text, buffer or list. Any thread.
std::vector<std::uint8_t> encodeMessage(const Value& value);

/// The value, or none when the message is malformed: an unknown type, a size beyond the end, text
/// that is not UTF-8, nesting beyond `MessageReader::kMaximumNesting`, lists and maps beyond what a
/// message of its size may cost in memory, or trailing bytes. The bytes may come from anywhere. Any
/// thread.
std::optional<Value> decodeMessage(std::span<const std::uint8_t> message);

}  // namespace quorvin
