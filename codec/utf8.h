// Text as UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace quorvin {

/// True when the text is well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF.
bool isUtf8(std::string_view text);

/// The text as well-formed UTF-8: every byte that is not part of a character becomes U+FFFD.
std::string validUtf8(std::string_view text);

}  // namespace quorvin
