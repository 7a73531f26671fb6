#include "tool/serve/reading/byte_range.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

namespace quorvin {
namespace {

constexpr std::string_view kUnit = "bytes=";

/// Of digits alone; what is too large for a number is larger than every file.
std::optional<std::uint64_t> offsetIn(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || end != text.data() + text.size()) return std::nullopt;
  if (error == std::errc::result_out_of_range) return std::numeric_limits<std::uint64_t>::max();
  return number;
}

RangeAnswer lastBytes(std::string_view count, std::uint64_t fileSize) {
  const auto wanted = offsetIn(count);
  if (!wanted) return WholeFile{};
  const std::uint64_t size = std::min(*wanted, fileSize);
  if (size == 0) return NoSuchRange{};
  return ByteRange{fileSize - size, size};
}

}  // namespace

RangeAnswer readRange(std::string_view header, std::uint64_t fileSize) {
  if (!header.starts_with(kUnit)) return WholeFile{};
  header.remove_prefix(kUnit.size());
  const std::size_t dash = header.find('-');
  if (dash == std::string_view::npos) return WholeFile{};
  const std::string_view end = header.substr(dash + 1);
  if (dash == 0) return lastBytes(end, fileSize);
  const auto first = offsetIn(header.substr(0, dash));
  const auto last = end.empty() ? std::numeric_limits<std::uint64_t>::max() : offsetIn(end);
  if (!first || !last || *last < *first) return WholeFile{};
  if (*first >= fileSize) return NoSuchRange{};
  return ByteRange{*first, std::min(*last, fileSize - 1) - *first + 1};
}

}  // namespace quorvin
