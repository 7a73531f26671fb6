// Movies and sounds, opened with FFmpeg over a descriptor.
#pragma once

#include <cstdint>
#include <memory>

#include "media_protocol/failure.h"
#include "media_worker/reading/input_file.h"

struct AVFormatContext;
struct AVIOContext;
struct AVStream;

namespace quorvin {

/// An open container. It reads through our own input and opens nothing else: formats that name
/// other files, playlists and pictures are refused. One thread at a time.
class MovieInput {
 public:
  /// `file` outlives the result. The streams are as the header gives them. An error is one plain
  /// sentence.
  static Result<std::unique_ptr<MovieInput>> open(const InputFile& file);
  MovieInput(const MovieInput&) = delete;
  MovieInput& operator=(const MovieInput&) = delete;
  ~MovieInput();

  AVFormatContext& context() { return *context_; }
  /// Reads packets until every stream's parameters are known. False when it fails; some formats
  /// give all that is needed in the header.
  bool findStreams();
  /// The first stream of moving pictures that is no cover; null when there is none.
  AVStream* videoStream() const;

 private:
  explicit MovieInput(const InputFile& file) : file_(file) {}

  static int read(void* self, std::uint8_t* into, int size);
  static std::int64_t seek(void* self, std::int64_t offset, int whence);

  const InputFile file_;
  std::int64_t position_ = 0;
  AVIOContext* io_ = nullptr;
  AVFormatContext* context_ = nullptr;
};

/// How a video is shown: pixels are made square by changing the width, then turned.
struct DisplayGeometry {
  std::int64_t width = 0;   ///< upright, pixels; 0 when unknown
  std::int64_t height = 0;  ///< upright, pixels
  int orientation = 1;      ///< of the stored pixels, 1 to 8 as in Exif
};

/// By the stream's size, pixel aspect and display matrix. A matrix that is no quarter turn or
/// mirroring counts as the nearest quarter turn.
DisplayGeometry displayGeometry(const AVStream& stream);

}  // namespace quorvin
