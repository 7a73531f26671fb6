// A file's bytes, read in blocks.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace quorvin {

/// Parsers ask for a few bytes at a time, thousands of times, and every call into the system is
/// looked at by the sandbox. So the blocks that were used last are kept as copies: unlike a
/// mapping they do not fault when another process cuts the file. One thread at a time.
class FileBlocks {
 public:
  /// The descriptor stays the caller's and outlives this.
  explicit FileBlocks(int fd) : fd_(fd) {}
  FileBlocks(const FileBlocks&) = delete;
  FileBlocks& operator=(const FileBlocks&) = delete;

  /// Fills as much of `into` as can be read from `offset` on, and returns how much that is.
  std::size_t read(std::int64_t offset, std::span<std::uint8_t> into);

 private:
  /// Of a telephone's picture these are twenty.
  static constexpr std::size_t kBlockSize = 128 << 10;
  /// A movie's header, its tracks and its end are read in turns.
  static constexpr std::size_t kBlocks = 4;

  struct Block {
    std::int64_t begin = -1;  ///< a whole number of blocks; -1: nothing was read
    std::size_t size = 0;     ///< less than a block's where the file could not be read on
    std::uint64_t used = 0;   ///< the higher, the later
    std::unique_ptr<std::uint8_t[]> bytes;
  };

  /// Past the blocks.
  std::size_t readStored(std::int64_t offset, std::span<std::uint8_t> into) const;
  const Block& blockAt(std::int64_t begin);

  const int fd_;
  std::array<Block, kBlocks> blocks_;
  std::uint64_t uses_ = 0;
};

}  // namespace quorvin
