// Bytes put together number by number.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "testing/media/media_bytes.h"

namespace quorvin {

class ByteWriter {
 public:
  /// The highest byte first.
  ByteWriter& big(std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i) put(value >> (8 * i));
    return *this;
  }
  /// The lowest byte first.
  ByteWriter& little(std::uint64_t value, int size) {
    for (int i = 0; i < size; ++i) put(value >> (8 * i));
    return *this;
  }
  ByteWriter& text(std::string_view characters) {
    bytes_.insert(bytes_.end(), characters.begin(), characters.end());
    return *this;
  }
  ByteWriter& append(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  ByteWriter& zeros(std::size_t count) {
    bytes_.insert(bytes_.end(), count, 0);
    return *this;
  }
  ByteWriter& repeat(const Bytes& bytes, std::size_t times) {
    bytes_.reserve(bytes_.size() + bytes.size() * times);
    for (std::size_t i = 0; i < times; ++i) append(bytes);
    return *this;
  }
  /// A box of the MPEG-4 and QuickTime families.
  ByteWriter& box(std::string_view type, const ByteWriter& content) {
    return big(content.bytes_.size() + 8, 4).text(type).append(content.bytes_);
  }
  /// A chunk of a RIFF file, padded to an even length.
  ByteWriter& riff(std::string_view type, const Bytes& content) {
    return text(type).little(content.size(), 4).append(content).zeros(content.size() % 2);
  }

  const Bytes& bytes() const { return bytes_; }

 private:
  void put(std::uint64_t value) { bytes_.push_back(static_cast<std::uint8_t>(value)); }

  Bytes bytes_;
};

/// Bits put together, the lowest of each byte first.
class BitWriter {
 public:
  BitWriter& bits(std::uint32_t value, int count) {
    for (int i = 0; i < count; ++i) {
      if (used_ % 8 == 0) bytes_.push_back(0);
      const unsigned bit = value >> i & 1U;
      bytes_.back() = static_cast<std::uint8_t>(bytes_.back() | bit << (used_++ % 8));
    }
    return *this;
  }
  const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
  std::size_t used_ = 0;
};

}  // namespace quorvin
