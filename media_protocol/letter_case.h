// Letters of file names and tags.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace quorvin {

/// ASCII letters alone are changed.
inline std::string lowerCase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return result;
}

}  // namespace quorvin
