// Text for people on a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quorvin {

/// The text with control characters, and bytes that are no UTF-8, as "\xNN": a file's name or an
/// album's title must not command the terminal.
std::string printable(std::string_view text);

/// How many columns of a terminal printable text takes: none for combining characters, two for wide
/// ones.
std::size_t columnsOf(std::string_view text);

/// At most so many columns of printable text, a cut one with "…" at its end.
std::string cutToColumns(const std::string& text, std::size_t limit);

/// "1,234,567".
std::string grouped(std::int64_t number);

/// "1 file" or "2 files".
std::string counted(std::int64_t count, const char* one, const char* many);

}  // namespace quorvin
