// Puts values into one message.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <span>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// The bytes of `head`, then every value, in memory that is got once. Throws
/// std::length_error when a text, a buffer or a list has more elements than the wire's 32-bit size
/// can say.
std::vector<std::uint8_t> writeMessage(
    std::span<const std::uint8_t> head,
    std::initializer_list<std::reference_wrapper<const Value>> values);

/// The same with one value.
ByteBuffer writeBuffer(std::span<const std::uint8_t> head, const Value& value);

/// The bytes of `head`, then what announces a buffer of `size` bytes: the buffer's own bytes are
/// all that is missing to make it `writeMessage` of the buffer. Throws as that does.
std::vector<std::uint8_t> writeBufferHead(std::span<const std::uint8_t> head, std::size_t size);

}  // namespace quorvin
