// Bytes as a file without a name.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <span>

#include "fuzz/require.h"
#include "media_protocol/sealed_memory.h"
#include "posix/file_descriptor.h"

namespace quorvin {

inline FileDescriptor memoryFile(std::span<const std::uint8_t> bytes) {
  FileDescriptor file = makeMemoryFile(0);
  require(
      file && ::write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()),
      "there is a memory");
  return file;
}

}  // namespace quorvin
