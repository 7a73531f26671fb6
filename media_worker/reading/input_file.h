// The media file of a request, read by descriptor.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "media_protocol/failure.h"

namespace quorvin {

class FileBlocks;

/// Reads at explicit offsets: the descriptor's own offset is shared with other processes. Small
/// reads come out of a few blocks in memory, which copies and parts share. The descriptor stays
/// the caller's and outlives this. One thread at a time, for copies and parts together.
class InputFile {
 public:
  /// An error when it is no regular file or empty.
  static Result<InputFile> open(int fd);

  std::int64_t size() const { return size_; }
  /// Fills as much of `into` as the file has from `offset` on, and returns how much that is. What
  /// cannot be read ends the file.
  std::size_t readAt(std::int64_t offset, std::span<std::uint8_t> into) const;
  /// The first bytes, at most `limit` of them.
  std::vector<std::uint8_t> head(std::size_t limit) const;
  /// What of these bytes lies in the file, as a file of its own.
  InputFile part(std::int64_t offset, std::int64_t size) const;

 private:
  InputFile(std::shared_ptr<FileBlocks> blocks, std::int64_t begin, std::int64_t size)
      : blocks_(std::move(blocks)), begin_(begin), size_(size) {}

  std::shared_ptr<FileBlocks> blocks_;
  std::int64_t begin_;
  std::int64_t size_;
};

}  // namespace quorvin
