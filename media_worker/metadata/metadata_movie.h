// What the tags of a movie say about it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quorvin {

/// Keys and values as the container has them.
using MovieTags = std::vector<std::pair<std::string, std::string>>;

struct MovieMetadata {
  std::optional<std::int64_t> creationDate;  ///< UTC, nanoseconds since 1970
  std::string contentIdentifier;             ///< empty when there is none
  double captureFrameRate = 0;               ///< frames a second at which it was taken; 0: unsaid
};

/// `now` is the present, seconds since 1970: a container's date in the future is none.
MovieMetadata movieMetadata(const MovieTags& tags, std::int64_t now);

}  // namespace quorvin
