#include "media_worker/reading/file_blocks.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace quorvin {

std::size_t FileBlocks::read(std::int64_t offset, std::span<std::uint8_t> into) {
  // What is as large as a block gains nothing by a copy.
  if (into.size() >= kBlockSize) return readStored(offset, into);
  std::size_t filled = 0;
  while (filled < into.size()) {
    const std::int64_t position = offset + static_cast<std::int64_t>(filled);
    const auto within = static_cast<std::size_t>(position) % kBlockSize;
    const Block& block = blockAt(position - static_cast<std::int64_t>(within));
    if (within >= block.size) break;
    const std::size_t count = std::min(block.size - within, into.size() - filled);
    std::copy_n(block.bytes.get() + within, count, into.data() + filled);
    filled += count;
  }
  return filled;
}

const FileBlocks::Block& FileBlocks::blockAt(std::int64_t begin) {
  auto found = std::ranges::find(blocks_, begin, &Block::begin);
  if (found == blocks_.end()) {
    found = std::ranges::min_element(blocks_, {}, &Block::used);
    if (!found->bytes) found->bytes.reset(new (std::nothrow) std::uint8_t[kBlockSize]);
    // Libraries in C ask, through which no exception may pass.
    found->size = found->bytes ? readStored(begin, {found->bytes.get(), kBlockSize}) : 0;
    found->begin = begin;
  }
  found->used = ++uses_;
  return *found;
}

std::size_t FileBlocks::readStored(std::int64_t offset, std::span<std::uint8_t> into) const {
  std::size_t filled = 0;
  while (filled < into.size()) {
    const ssize_t got = ::pread(fd_, into.data() + filled, into.size() - filled,
                                offset + static_cast<std::int64_t>(filled));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return filled;
}

}  // namespace quorvin
