#include "tool/serve/reading/frames.h"

namespace quorvin {
namespace {

constexpr std::size_t kNumberSize = 4;
constexpr std::size_t kHeaderSize = kNumberSize + 1;

}  // namespace

std::optional<Frame> readFrame(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kHeaderSize) return std::nullopt;
  Frame frame;
  for (std::size_t i = 0; i < kNumberSize; ++i) {
    frame.number |= static_cast<std::uint32_t>(bytes[i]) << (8 * i);
  }
  const std::size_t nameSize = bytes[kNumberSize];
  bytes = bytes.subspan(kHeaderSize);
  if (frame.number == kUnaskedNumber || bytes.size() < nameSize) return std::nullopt;
  frame.channel = {reinterpret_cast<const char*>(bytes.data()), nameSize};
  frame.message = bytes.subspan(nameSize);
  return frame;
}

std::vector<std::uint8_t> frameOf(const Frame& frame) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(kHeaderSize + frame.channel.size() + frame.message.size());
  for (std::size_t i = 0; i < kNumberSize; ++i) {
    bytes.push_back(static_cast<std::uint8_t>(frame.number >> (8 * i)));
  }
  bytes.push_back(static_cast<std::uint8_t>(frame.channel.size()));
  bytes.insert(bytes.end(), frame.channel.begin(), frame.channel.end());
  bytes.insert(bytes.end(), frame.message.begin(), frame.message.end());
  return bytes;
}

}  // namespace quorvin
