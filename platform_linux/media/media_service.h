// What the media worker does for this process: it parses, renders and encodes media files,
// and writes what is said beside them.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "core/platform/image_codec.h"
#include "core/platform/value.h"
#include "media_protocol/requests.h"
#include "platform_linux/errors/failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A decoded image of this platform, in one sealed memory file.
class RenderedImage : public UIImage {
 public:
  RenderedImage(FileDescriptor pixels, std::int64_t width, std::int64_t height, int channels,
                std::int64_t profileSize = 0)
      : pixels_(std::move(pixels)),
        width_(width),
        height_(height),
        channels_(channels),
        profileSize_(profileSize) {}

  std::int64_t width() const override { return width_; }
  std::int64_t height() const override { return height_; }
  /// 3 (RGB) or 4 (with alpha, not premultiplied), interleaved, rows without padding.
  int channels() const { return channels_; }
  /// Bytes of the ICC profile behind the pixels; 0: they are sRGB.
  std::int64_t profileSize() const { return profileSize_; }
  /// Read-only, width * height * channels bytes, then the profile.
  int fd() const { return pixels_.get(); }

 private:
  FileDescriptor pixels_;
  std::int64_t width_;
  std::int64_t height_;
  int channels_;
  std::int64_t profileSize_;
};

/// Calls wait for their answer on the calling thread; any thread, several at once. A worker that
/// dies or is late is replaced, and its request answered with a failure.
class MediaService {
 public:
  virtual ~MediaService() = default;

  /// `name` is the file's own name, used where names carry meaning (screenshots and the like). The
  /// descriptor is read from offset 0 and stays the caller's. The error of a file that is no photo,
  /// video or audio is one plain line.
  virtual Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) = 0;

  /// Ends soon, with the code `userCancelled`, once `stop` is requested.
  virtual Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                              const RenderRequest& request,
                                                              std::stop_token stop = {}) = 0;

  /// `quality` is 0 to 1, for JPEG.
  virtual Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                                    double quality) = 0;

  /// XMP of what the request tells, and of what `existing` says beside that, which is a packet of
  /// XMP or none.
  virtual Result<ByteBuffer> writeXmp(const FileDescriptor& existing,
                                      const WriteXmpRequest& request) = 0;
};

}  // namespace quorvin
