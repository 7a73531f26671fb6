// Which part of a file a Range header asks for.
#pragma once

#include <cstdint>
#include <string_view>
#include <variant>

namespace quorvin {

struct ByteRange {
  std::uint64_t first = 0;
  std::uint64_t size = 0;
  friend bool operator==(const ByteRange&, const ByteRange&) = default;
};

/// The header is to be passed over: it asks for several parts, or for what nobody knows.
struct WholeFile {
  friend bool operator==(WholeFile, WholeFile) = default;
};

/// Nothing of what is asked for is there.
struct NoSuchRange {
  friend bool operator==(NoSuchRange, NoSuchRange) = default;
};

using RangeAnswer = std::variant<WholeFile, ByteRange, NoSuchRange>;

RangeAnswer readRange(std::string_view header, std::uint64_t fileSize);

}  // namespace quorvin
