// What a request asks for: the path and the query of its target.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvin {

struct RequestTarget {
  /// As they stand between slashes, decoded: a slash that was encoded parts nothing.
  std::vector<std::string> path;
  std::vector<std::pair<std::string, std::string>> query;

  /// The first value under the key; null when there is none.
  const std::string* parameter(std::string_view key) const;
};

/// Of "/a/b?c=d". None when it does not begin with a slash, or anything in it is not encoded as it
/// should be.
std::optional<RequestTarget> readTarget(std::string_view target);

/// None unless each percent sign is followed by two hexadecimal digits, and what comes of it is
/// UTF-8 without control characters.
std::optional<std::string> percentDecoded(std::string_view text);

/// All but letters, digits and "-._~" is encoded.
std::string percentEncoded(std::string_view text);

}  // namespace quorvin
