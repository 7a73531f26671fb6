// What of XMP can be read without harm.
#pragma once

#include <string_view>

namespace quorvin {

/// Whether a text is XML in UTF-8 without definitions of its own, neither deep nor of very many
/// parts: readers of XMP call themselves at each level, and look through what they have at each
/// further part.
bool isReadableXml(std::string_view text);

}  // namespace quorvin
