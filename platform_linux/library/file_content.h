// Copying, hashing and comparing the contents of files.
#pragma once

#include <cstdint>
#include <string>

#include "core/platform/foundation.h"
#include "core/platform/value.h"

namespace quorvin {

/// Copies `length` bytes from `offset` of the one file to the start of the other, sharing the
/// storage where the file system can. Fewer bytes are an error.
Result<Null> copyContent(int from, std::int64_t offset, std::int64_t length, int to);

/// 16 bytes that tell contents apart: quick, and good enough to find damage; equal hashes are
/// compared byte by byte before two files count as the same.
Result<std::string> hashContent(int file);

/// False also when either cannot be read.
bool haveSameContent(int one, int other);

/// The name as valid UTF-8: every byte that is not part of a character becomes U+FFFD.
std::string validUtf8(const std::string& name);

}  // namespace quorvin
