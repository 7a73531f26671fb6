// Hashing and comparing the contents of files.
#pragma once

#include <string>

#include "platform_linux/errors/failure.h"

namespace quorvin {

/// 16 bytes that tell contents apart: quick, and good enough to find damage; equal hashes are
/// compared byte by byte before two files count as the same.
Result<std::string> hashContent(int file);

/// False also when either cannot be read.
bool haveSameContent(int one, int other);

}  // namespace quorvin
