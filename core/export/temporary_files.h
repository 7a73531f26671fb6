// What the exports share about the files that they leave.
#pragma once

#include <string>

#include "core/platform/value.h"

namespace quorvin {

/// The reply to an export. `deletable` is false for a file of the library's own.
inline Value exportReply(std::string url, bool deletable) {
  return Map{{"url"_lit, std::move(url)}, {"deletable"_lit, deletable}};
}

}  // namespace quorvin
