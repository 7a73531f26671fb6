// The standard method codec: method calls and their replies as bytes, and back. No bytes at all
// stand for "not implemented" and are the channel's business.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <variant>
#include <vector>

#include "core/platform/host.h"
#include "core/platform/value.h"

namespace quorvin {

// What encodeMessage asks of values and throws, these do too.

std::vector<std::uint8_t> encodeMethodCall(const FlutterMethodCall& call);
std::vector<std::uint8_t> encodeSuccessEnvelope(const Value& result);
/// The same message. When the result is bytes that `ByteBuffer::allocate` made and nobody else
/// holds, they are not copied: the message is made around them.
ByteBuffer takeSuccessEnvelope(Value result);
/// An empty message is sent as null, and null is received as an empty message.
std::vector<std::uint8_t> encodeErrorEnvelope(const FlutterError& error);

/// None when the bytes are no well-formed call.
std::optional<FlutterMethodCall> decodeMethodCall(std::span<const std::uint8_t> message);

/// None when the bytes are no well-formed reply. A stack trace behind an error is passed over.
std::optional<std::variant<Value, FlutterError>> decodeEnvelope(
    std::span<const std::uint8_t> message);

}  // namespace quorvin
