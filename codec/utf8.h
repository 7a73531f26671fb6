// Text checks.
#pragma once

#include <string_view>

namespace quorvin {

/// True when the text is well-formed UTF-8: no overlong form, no surrogate, nothing above U+10FFFF.
bool isUtf8(std::string_view text);

}  // namespace quorvin
