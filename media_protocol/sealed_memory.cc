#include "media_protocol/sealed_memory.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "posix/write_all.h"

namespace quorvin {

namespace {

constexpr int kFinal = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

}  // namespace

FileDescriptor makeMemoryFile(std::size_t size) {
  FileDescriptor file(::memfd_create("quorvin", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (file && ::ftruncate(file.get(), static_cast<off_t>(size)) != 0) return {};
  return file;
}

bool sealMemoryFile(const FileDescriptor& file) {
  return ::fcntl(file.get(), F_ADD_SEALS, kFinal) == 0;
}

FileDescriptor sealedMemoryOf(std::span<const std::uint8_t> bytes) {
  FileDescriptor file = makeMemoryFile(0);
  if (!file || writeAll(file.get(), bytes) != 0 || !sealMemoryFile(file)) return {};
  return file;
}

std::optional<std::size_t> sealedMemorySize(int descriptor) {
  const int seals = ::fcntl(descriptor, F_GET_SEALS);
  struct stat status {};
  if (seals < 0 || (seals & kFinal) != kFinal || ::fstat(descriptor, &status) != 0) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(status.st_size);
}

MappedMemory::MappedMemory(int descriptor, std::size_t size, Access access) {
  const bool write = access == Access::write;
  void* mapped = ::mmap(nullptr, size, write ? PROT_READ | PROT_WRITE : PROT_READ,
                        write ? MAP_SHARED : MAP_PRIVATE, descriptor, 0);
  if (mapped == MAP_FAILED) return;
  data_ = static_cast<std::uint8_t*>(mapped);
  size_ = size;
}

MappedMemory::~MappedMemory() {
  if (data_ != nullptr) ::munmap(data_, size_);
}

}  // namespace quorvin
