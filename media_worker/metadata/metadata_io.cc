#include "media_worker/metadata/metadata_io.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdio>

namespace quorvin {

int MetadataIo::open() {
  position_ = 0;
  atEnd_ = false;
  return 0;
}

Exiv2::DataBuf MetadataIo::read(long count) {
  const long rest = static_cast<long>(std::max<std::int64_t>(0, file_.size() - position_));
  Exiv2::DataBuf buffer(std::clamp(count, 0L, rest));
  buffer.size_ = read(buffer.pData_, buffer.size_);
  if (buffer.size_ < count) atEnd_ = true;
  return buffer;
}

long MetadataIo::read(Exiv2::byte* buffer, long count) {
  if (count <= 0) return 0;
  const auto wanted = static_cast<std::size_t>(count);
  const std::size_t done = file_.readAt(position_, {buffer, wanted});
  position_ += static_cast<std::int64_t>(done);
  if (done < wanted) atEnd_ = true;
  return static_cast<long>(done);
}

int MetadataIo::getb() {
  Exiv2::byte byte = 0;
  return read(&byte, 1) == 1 ? byte : EOF;
}

int MetadataIo::seek(long offset, Position from) {
  const std::int64_t base = from == beg ? 0 : from == cur ? position_ : file_.size();
  std::int64_t target = 0;
  if (__builtin_add_overflow(base, offset, &target) || target < 0 || target > file_.size()) {
    return 1;
  }
  position_ = target;
  atEnd_ = false;
  return 0;
}

Exiv2::byte* MetadataIo::mmap(bool isWriteable) {
  if (mapped_ != nullptr) return mapped_;
  void* memory = isWriteable ? MAP_FAILED : ::mmap(nullptr, size(), PROT_READ, MAP_PRIVATE, fd_, 0);
  if (memory == MAP_FAILED) throw Exiv2::Error(Exiv2::kerDataSourceOpenFailed, "", "");
  mapped_ = static_cast<Exiv2::byte*>(memory);
  return mapped_;
}

int MetadataIo::munmap() {
  if (mapped_ != nullptr) ::munmap(mapped_, size());
  mapped_ = nullptr;
  return 0;
}

void MetadataIo::transfer(BasicIo&) {
  throw Exiv2::Error(Exiv2::kerWritingImageFormatUnsupported, "");
}

}  // namespace quorvin
