// Copying the contents of files.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>

namespace quorvin {

struct CopyFailure {
  bool isOfSource = false;  ///< reading failed, else writing
  int errorNumber = 0;      ///< ECANCELED once `stop` was requested
};

/// Told of so many more bytes, now and then.
using BytesListener = std::function<void(std::int64_t)>;

/// Copies `length` bytes from `offset` of the one file to the start of the other, sharing the
/// storage where the file system can. Fewer bytes are an error. Needs the same memory whatever the
/// length.
std::optional<CopyFailure> copyContent(int from, std::int64_t offset, std::int64_t length, int to,
                                       const std::stop_token& stop = {},
                                       const BytesListener& copied = {});

}  // namespace quorvin
