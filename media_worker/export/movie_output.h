// Movies written with FFmpeg over a descriptor.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "media_worker/reading/ffmpeg_versions.h"

struct AVDictionary;
struct AVFormatContext;
struct AVIOContext;
struct AVPacket;
struct AVStream;

namespace quorvin {

/// A movie being written. Streams are added, then the header, the packets of all streams and the
/// end are written. Errors are one plain sentence and say whether space ran out. One thread at a
/// time.
class MovieOutput {
 public:
  /// `descriptor` is an empty regular file, open for reading and writing, and outlives this.
  /// `progress` is called with every packet and on every access to it, with its bytes.
  static Result<std::unique_ptr<MovieOutput>> create(
      int descriptor, VideoContainer container, std::function<void(std::int64_t bytes)> progress);
  MovieOutput(const MovieOutput&) = delete;
  MovieOutput& operator=(const MovieOutput&) = delete;
  ~MovieOutput();

  AVFormatContext& context() { return *context_; }
  /// Null when memory runs out.
  AVStream* addStream();
  /// Takes over what the tags say of date, place and camera.
  void describe(const AVDictionary* tags);

  std::optional<Failure> begin(bool indexFirst);
  /// Takes the packet's data; its times are in the time base of its stream in `context`.
  std::optional<Failure> write(AVPacket& packet);
  std::optional<Failure> end();

 private:
  MovieOutput(int descriptor, std::function<void(std::int64_t bytes)> progress)
      : descriptor_(descriptor), progress_(std::move(progress)) {}

  static int writeBytes(void* self, WrittenBytes bytes, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);
  static int openToRead(AVFormatContext* context, AVIOContext** io, const char* url, int flags,
                        AVDictionary** options);
  static int closeAfterReading(AVFormatContext* context, AVIOContext* io);
  Failure failure(int code) const;

  const int descriptor_;
  const std::function<void(std::int64_t bytes)> progress_;
  std::int64_t position_ = 0;
  int writeError_ = 0;  ///< of the system; 0 while all went well
  bool keepsTags_ = false;
  AVIOContext* io_ = nullptr;
  AVFormatContext* context_ = nullptr;
};

/// The name of FFmpeg's muxer for the container.
const char* muxerName(VideoContainer container);

}  // namespace quorvin
