// Texts of side files, of which nothing is believed.
#pragma once

#include <string>

namespace quorvin {

/// UTF-8 without control characters of at most `kLongestText` bytes: longer texts are cut behind a
/// character; of what is no such text nothing is left.
std::string shortText(std::string text);

}  // namespace quorvin
