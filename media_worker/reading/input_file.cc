#include "media_worker/reading/input_file.h"

#include <sys/stat.h>

#include <algorithm>

#include "media_protocol/wire.h"
#include "media_worker/reading/file_blocks.h"

namespace quorvin {

Result<InputFile> InputFile::open(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    return Failure(LibraryErrorCode::invalidResource, "it is not an ordinary file.");
  }
  if (status.st_size == 0) {
    return Failure(LibraryErrorCode::invalidResource, "the file is empty.");
  }
  return InputFile(std::make_shared<FileBlocks>(fd), 0, status.st_size);
}

std::size_t InputFile::readAt(std::int64_t offset, std::span<std::uint8_t> into) const {
  if (offset < 0 || offset >= size_) return 0;
  into = into.first(std::min(into.size(), static_cast<std::size_t>(size_ - offset)));
  return blocks_->read(begin_ + offset, into);
}

std::vector<std::uint8_t> InputFile::head(std::size_t limit) const {
  std::vector<std::uint8_t> bytes(std::min(limit, static_cast<std::size_t>(size_)));
  bytes.resize(readAt(0, bytes));
  return bytes;
}

InputFile InputFile::part(std::int64_t offset, std::int64_t size) const {
  const std::int64_t begin = std::clamp<std::int64_t>(offset, 0, size_);
  return {blocks_, begin_ + begin, std::clamp<std::int64_t>(size, 0, size_ - begin)};
}

}  // namespace quorvin
