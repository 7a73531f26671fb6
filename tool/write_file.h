// Files that are written whole or not at all.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace quorvin {

/// Writes a file, or replaces it in one step, following symbolic links; a device or pipe is written
/// to. Returns the error number, 0 for success; what was there before stays when it fails.
int writeFile(const std::string& path, std::span<const std::uint8_t> bytes);

}  // namespace quorvin
