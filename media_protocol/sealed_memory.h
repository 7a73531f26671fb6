// Memory files that one process fills and another reads without a copy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "posix/file_descriptor.h"

namespace quorvin {

/// A new memory file of `size` bytes, all 0, that can be sealed. None with errno set.
FileDescriptor makeMemoryFile(std::size_t size);

/// Makes the file's size and bytes final. False when it cannot, for example while it is mapped
/// for writing.
bool sealMemoryFile(const FileDescriptor& file);

/// A memory file of these bytes that is final; none with errno set.
FileDescriptor sealedMemoryOf(std::span<const std::uint8_t> bytes);

/// The file's size when it is a memory file whose size and bytes are final, so that mapping it
/// can neither fault nor show two readings of one byte; none for any other file.
std::optional<std::size_t> sealedMemorySize(int descriptor);

/// A mapping of the first `size` bytes of a file. Any thread, one at a time.
class MappedMemory {
 public:
  enum class Access { read, write };

  /// An empty mapping, with errno set, when the system refuses. `size` is above 0.
  MappedMemory(int descriptor, std::size_t size, Access access);
  MappedMemory(const MappedMemory&) = delete;
  MappedMemory& operator=(const MappedMemory&) = delete;
  ~MappedMemory();

  explicit operator bool() const { return data_ != nullptr; }
  std::uint8_t* data() const { return data_; }
  std::size_t size() const { return size_; }
  std::span<const std::uint8_t> bytes() const { return {data_, size_}; }

 private:
  std::uint8_t* data_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace quorvin
