#include "media_worker/reading/input_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "media_protocol/wire.h"

namespace quorvin {

Result<InputFile> InputFile::open(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    return Failure(LibraryErrorCode::invalidResource, "it is not an ordinary file.");
  }
  if (status.st_size == 0) {
    return Failure(LibraryErrorCode::invalidResource, "the file is empty.");
  }
  return InputFile(fd, 0, status.st_size);
}

std::size_t InputFile::readAt(std::int64_t offset, std::span<std::uint8_t> into) const {
  if (offset < 0 || offset >= size_) return 0;
  into = into.first(std::min(into.size(), static_cast<std::size_t>(size_ - offset)));
  std::size_t filled = 0;
  while (filled < into.size()) {
    const ssize_t got = ::pread(fd_, into.data() + filled, into.size() - filled,
                                begin_ + offset + static_cast<std::int64_t>(filled));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    filled += static_cast<std::size_t>(got);
  }
  return filled;
}

std::vector<std::uint8_t> InputFile::head(std::size_t limit) const {
  std::vector<std::uint8_t> bytes(std::min(limit, static_cast<std::size_t>(size_)));
  bytes.resize(readAt(0, bytes));
  return bytes;
}

InputFile InputFile::part(std::int64_t offset, std::int64_t size) const {
  const std::int64_t begin = std::clamp<std::int64_t>(offset, 0, size_);
  return {fd_, begin_ + begin, std::clamp<std::int64_t>(size, 0, size_ - begin)};
}

}  // namespace quorvin
