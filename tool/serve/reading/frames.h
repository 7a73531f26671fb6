// The messages of a channel connection: a number, the channel's name, and the channel's message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace quorvin {

/// Of the engine's own messages. No call has it.
inline constexpr std::uint32_t kUnaskedNumber = 0;

/// Views into the bytes that it was read from.
struct Frame {
  std::uint32_t number = kUnaskedNumber;
  std::string_view channel;
  std::span<const std::uint8_t> message;
};

/// None when the bytes are no frame, or one that does not say what it answers.
std::optional<Frame> readFrame(std::span<const std::uint8_t> bytes);

/// The channel's name has at most 255 bytes.
std::vector<std::uint8_t> frameOf(const Frame& frame);

}  // namespace quorvin
