// The muxer writes through our own I/O over a descriptor, by position. It opens nothing: to move
// the index to the beginning it reads its own file back, which it gets as a second reader of the
// same descriptor. The system's own error is kept, since the muxer tells neither that space ran out
// nor when.
#include "media_worker/export/movie_output.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
}

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "media_protocol/wire.h"

namespace quorvin {

namespace {

constexpr int kBlockSize = 1 << 20;

/// Ticks a second of what concerns the movie as a whole, where edit lists count too: whole for
/// every usual rate of frames, and for milliseconds.
constexpr int kMovieTimescale = 90'000;

/// Of the container or the program that wrote it, not of what was filmed.
constexpr std::array<std::string_view, 5> kForeignTags{"major_brand", "minor_version",
                                                       "compatible_brands", "encoder", "timecode"};

bool isRunOut(int error) {
  return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

AVIOContext* newIo(void* opaque, int (*read)(void*, std::uint8_t*, int),
                   int (*write)(void*, WrittenBytes, int),
                   std::int64_t (*seek)(void*, std::int64_t, int)) {
  auto* buffer = static_cast<unsigned char*>(av_malloc(kBlockSize));
  if (buffer == nullptr) return nullptr;
  AVIOContext* io =
      avio_alloc_context(buffer, kBlockSize, write != nullptr ? 1 : 0, opaque, read, write, seek);
  if (io == nullptr) av_free(buffer);
  return io;
}

void freeIo(AVIOContext* io) {
  if (io == nullptr) return;
  av_freep(&io->buffer);
  avio_context_free(&io);
}

std::int64_t sizeOf(int descriptor) {
  struct stat status {};
  return ::fstat(descriptor, &status) == 0 ? status.st_size : -1;
}

/// Where seeking leads; negative for an error.
std::int64_t seekFrom(std::int64_t position, int descriptor, std::int64_t offset, int whence) {
  const int origin = whence & ~AVSEEK_FORCE;
  if (origin == AVSEEK_SIZE) return sizeOf(descriptor);
  if (origin == SEEK_CUR) offset += position;
  if (origin == SEEK_END) offset += sizeOf(descriptor);
  return offset < 0 ? AVERROR(EINVAL) : offset;
}

/// Reads a movie's samples back while its index is moved before them.
struct Rereader {
  int descriptor;
  std::int64_t position = 0;
  const std::function<void(std::int64_t bytes)>& progress;

  static int read(void* opaque, std::uint8_t* into, int size) {
    auto& self = *static_cast<Rereader*>(opaque);
    ssize_t got = -1;
    do {
      got = ::pread(self.descriptor, into, static_cast<std::size_t>(size), self.position);
    } while (got < 0 && errno == EINTR);
    if (got < 0) return AVERROR(errno);
    self.position += got;
    self.progress(got);
    return got == 0 ? AVERROR_EOF : static_cast<int>(got);
  }
  static std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
    auto& self = *static_cast<Rereader*>(opaque);
    const std::int64_t to = seekFrom(self.position, self.descriptor, offset, whence);
    if (to >= 0 && (whence & AVSEEK_SIZE) == 0) self.position = to;
    return to;
  }
};

}  // namespace

const char* muxerName(VideoContainer container) {
  return container == VideoContainer::quickTime ? "mov" : "mp4";
}

Result<std::unique_ptr<MovieOutput>> MovieOutput::create(
    int descriptor, VideoContainer container, std::function<void(std::int64_t bytes)> progress) {
  std::unique_ptr<MovieOutput> output(new MovieOutput(descriptor, std::move(progress)));
  output->io_ = newIo(output.get(), nullptr, &MovieOutput::writeBytes, &MovieOutput::seek);
  avformat_alloc_output_context2(&output->context_, nullptr, muxerName(container), nullptr);
  if (output->io_ == nullptr || output->context_ == nullptr) {
    return Failure(LibraryErrorCode::internal, "memory ran out.");
  }
  AVFormatContext& context = *output->context_;
  context.pb = output->io_;
  context.flags |= AVFMT_FLAG_CUSTOM_IO;
  context.opaque = output.get();
  context.io_open = &MovieOutput::openToRead;
  context.io_close2 = &MovieOutput::closeAfterReading;
  return output;
}

MovieOutput::~MovieOutput() {
  avformat_free_context(context_);
  freeIo(io_);
}

AVStream* MovieOutput::addStream() {
  return avformat_new_stream(context_, nullptr);
}

void MovieOutput::describe(const AVDictionary* tags) {
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(tags, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    const std::string_view key = entry->key;
    if (std::ranges::find(kForeignTags, key) != kForeignTags.end()) continue;
    av_dict_set(&context_->metadata, entry->key, entry->value, 0);
    // Names of this form are kept in a table of their own, which a muxer writes on demand.
    if (key.starts_with("com.")) keepsTags_ = true;
  }
}

std::optional<Failure> MovieOutput::begin(bool indexFirst) {
  std::string flags;
  if (indexFirst) flags += "+faststart";
  if (keepsTags_) flags += "+use_metadata_tags";
  AVDictionary* options = nullptr;
  if (!flags.empty()) av_dict_set(&options, "movflags", flags.c_str(), 0);
  av_dict_set_int(&options, "movie_timescale", kMovieTimescale, 0);
  av_dict_set_int(&options, "write_tmcd", 0, 0);
  const int code = avformat_write_header(context_, &options);
  av_dict_free(&options);
  return code < 0 ? std::optional(failure(code)) : std::nullopt;
}

std::optional<Failure> MovieOutput::write(AVPacket& packet) {
  progress_(packet.size);
  const int code = av_interleaved_write_frame(context_, &packet);
  // The muxer hears of a full disk late, when its own buffers are full.
  return code < 0 || writeError_ != 0 ? std::optional(failure(code)) : std::nullopt;
}

std::optional<Failure> MovieOutput::end() {
  const int code = av_write_trailer(context_);
  avio_flush(io_);
  return code < 0 || writeError_ != 0 ? std::optional(failure(code)) : std::nullopt;
}

int MovieOutput::writeBytes(void* self, WrittenBytes bytes, int size) {
  auto& output = *static_cast<MovieOutput*>(self);
  output.progress_(size);
  for (int done = 0; done < size;) {
    const ssize_t wrote = ::pwrite(output.descriptor_, bytes + done,
                                   static_cast<std::size_t>(size - done), output.position_);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) {
      output.writeError_ = wrote < 0 ? errno : ENOSPC;
      return AVERROR(output.writeError_);
    }
    output.position_ += wrote;
    done += static_cast<int>(wrote);
  }
  return size;
}

std::int64_t MovieOutput::seek(void* self, std::int64_t offset, int whence) {
  auto& output = *static_cast<MovieOutput*>(self);
  const std::int64_t to = seekFrom(output.position_, output.descriptor_, offset, whence);
  if (to >= 0 && (whence & AVSEEK_SIZE) == 0) output.position_ = to;
  return to;
}

int MovieOutput::openToRead(AVFormatContext* context, AVIOContext** io, const char*, int flags,
                            AVDictionary**) {
  const auto& output = *static_cast<MovieOutput*>(context->opaque);
  if ((flags & AVIO_FLAG_WRITE) != 0) return AVERROR(EPERM);
  auto reader = std::make_unique<Rereader>(Rereader{output.descriptor_, 0, output.progress_});
  *io = newIo(reader.get(), &Rereader::read, nullptr, &Rereader::seek);
  if (*io == nullptr) return AVERROR(ENOMEM);
  static_cast<void>(reader.release());
  return 0;
}

int MovieOutput::closeAfterReading(AVFormatContext*, AVIOContext* io) {
  if (io != nullptr) delete static_cast<Rereader*>(io->opaque);
  freeIo(io);
  return 0;
}

Failure MovieOutput::failure(int code) const {
  if (isRunOut(writeError_)) {
    return Failure(LibraryErrorCode::notEnoughSpace, "there is not enough space for the video.");
  }
  if (writeError_ != 0) {
    return Failure(LibraryErrorCode::internal,
                   "the video cannot be written: " +
                       std::error_code(writeError_, std::generic_category()).message() + ".");
  }
  if (code == AVERROR(ENOMEM)) return Failure(LibraryErrorCode::internal, "memory ran out.");
  return Failure(LibraryErrorCode::invalidResource,
                 "the video does not fit the format that it is to be written in.");
}

}  // namespace quorvin
