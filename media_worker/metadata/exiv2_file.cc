// Exiv2 opens files by their path, which the worker has not: it gets a reader of its own, over the
// descriptor and by position. Nothing can be written through it. Formats that want the whole file
// at once get it mapped, so that only what they look at is read.
#include "media_worker/metadata/exiv2_file.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

#include "media_worker/metadata/exiv2_versions.h"

namespace quorvin {

namespace {

class DescriptorIo final : public Exiv2::BasicIo {
 public:
  DescriptorIo(const InputFile& file, int fd) : file_(file), fd_(fd) {}
  DescriptorIo(const DescriptorIo&) = delete;
  DescriptorIo& operator=(const DescriptorIo&) = delete;
  ~DescriptorIo() override { unmap(); }

  int open() override {
    position_ = 0;
    atEnd_ = false;
    return 0;
  }
  int close() override {
    unmap();
    return 0;
  }

  Exiv2::DataBuf read(Exiv2Count count) override {
    const std::int64_t rest = std::max<std::int64_t>(0, file_.size() - position_);
    const auto wanted = static_cast<std::int64_t>(count);
    const auto size = wanted < 0 ? rest : std::min(wanted, rest);
    Exiv2::DataBuf buffer(static_cast<Exiv2Count>(size));
    const Exiv2Count got = read(bytesOf(buffer), static_cast<Exiv2Count>(size));
    cutTo(buffer, got);
    if (got < count) atEnd_ = true;
    return buffer;
  }

  Exiv2Count read(Exiv2::byte* buffer, Exiv2Count count) override {
    if (static_cast<std::int64_t>(count) <= 0) return 0;
    const auto wanted = static_cast<std::size_t>(count);
    const std::size_t done = file_.readAt(position_, {buffer, wanted});
    position_ += static_cast<std::int64_t>(done);
    if (done < wanted) atEnd_ = true;
    return static_cast<Exiv2Count>(done);
  }

  int getb() override {
    Exiv2::byte byte = 0;
    return read(&byte, 1) == 1 ? byte : EOF;
  }

  int seek(Exiv2Offset offset, Position from) override {
    const std::int64_t base = from == beg ? 0 : from == cur ? position_ : file_.size();
    std::int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0 || target > file_.size()) {
      return 1;
    }
    position_ = target;
    atEnd_ = false;
    return 0;
  }

  Exiv2::byte* mmap(bool isWriteable) override {
    if (mapped_ != nullptr) return mapped_;
    void* memory =
        isWriteable ? MAP_FAILED : ::mmap(nullptr, size(), PROT_READ, MAP_PRIVATE, fd_, 0);
    if (memory == MAP_FAILED) {
      throw Exiv2::Error(Exiv2::ErrorCode::kerDataSourceOpenFailed, "", "");
    }
    mapped_ = static_cast<Exiv2::byte*>(memory);
    return mapped_;
  }
  int munmap() override {
    unmap();
    return 0;
  }

  Exiv2Position tell() const override { return static_cast<Exiv2Position>(position_); }
  std::size_t size() const override { return static_cast<std::size_t>(file_.size()); }
  bool isopen() const override { return true; }
  int error() const override { return 0; }
  bool eof() const override { return atEnd_; }
  Exiv2Path path() const noexcept override { return kNoPath; }

  Exiv2Count write(const Exiv2::byte*, Exiv2Count) override { return 0; }
  Exiv2Count write(BasicIo&) override { return 0; }
  int putb(Exiv2::byte) override { return EOF; }
  void populateFakeData() override {}
  void transfer(BasicIo&) override {
    throw Exiv2::Error(Exiv2::ErrorCode::kerWritingImageFormatUnsupported, "");
  }

 private:
  void unmap() {
    if (mapped_ != nullptr) ::munmap(mapped_, size());
    mapped_ = nullptr;
  }

  inline static const std::string kNoPath;

  const InputFile& file_;
  const int fd_;
  std::int64_t position_ = 0;
  bool atEnd_ = false;  ///< a read came short since the last seek
  Exiv2::byte* mapped_ = nullptr;
};

}  // namespace

std::unique_ptr<Exiv2::Image> openWithExiv2(const InputFile& file, int fd) {
  auto image = openExiv2Image(std::make_unique<DescriptorIo>(file, fd));
  // Some damaged files are told by nothing else.
  if (!image) throw Exiv2::Error(Exiv2::ErrorCode::kerMemoryContainsUnknownImageType);
  return image;
}

}  // namespace quorvin
