// Hashing and comparing the contents of files.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

/// 16 bytes that tell contents apart: quick, and good enough to find damage; equal hashes are
/// compared byte by byte before two files count as the same.
/// `hashed`, if given, is told of so many more bytes.
Result<std::string> hashContent(int file, const std::function<void(std::int64_t)>& hashed = {});

/// False also when either cannot be read.
bool haveSameContent(int one, int other);

}  // namespace quorvin
