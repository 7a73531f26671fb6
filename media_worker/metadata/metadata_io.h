// The metadata library's view of a media file.
#pragma once

#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <string>

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Read-only, by position. `file` and its descriptor `fd` outlive it. Formats that need the whole
/// file at once get it mapped, so that only what they look at is read.
class MetadataIo : public Exiv2::BasicIo {
 public:
  MetadataIo(const InputFile& file, int fd) : file_(file), fd_(fd) {}
  MetadataIo(const MetadataIo&) = delete;
  MetadataIo& operator=(const MetadataIo&) = delete;
  ~MetadataIo() override { munmap(); }

  int open() override;
  int close() override { return munmap(); }
  Exiv2::DataBuf read(long count) override;
  long read(Exiv2::byte* buffer, long count) override;
  int getb() override;
  int seek(long offset, Position from) override;
  Exiv2::byte* mmap(bool isWriteable) override;
  int munmap() override;

  long tell() const override { return position_; }
  std::size_t size() const override { return static_cast<std::size_t>(file_.size()); }
  bool isopen() const override { return true; }
  int error() const override { return 0; }
  bool eof() const override { return atEnd_; }
  std::string path() const override { return {}; }

  // Nothing is ever written.
  long write(const Exiv2::byte*, long) override { return 0; }
  long write(BasicIo&) override { return 0; }
  int putb(Exiv2::byte) override { return EOF; }
  void transfer(BasicIo&) override;

 private:
  const InputFile& file_;
  int fd_;
  std::int64_t position_ = 0;
  bool atEnd_ = false;  ///< a read came short since the last seek
  Exiv2::byte* mapped_ = nullptr;
};

}  // namespace quorvin
