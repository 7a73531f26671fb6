// What the media worker does for this process: it parses, renders and encodes media files.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/platform/foundation.h"
#include "core/platform/image_codec.h"
#include "core/platform/value.h"
#include "platform_linux/files/file_descriptor.h"

namespace quorvin {

enum class MediaKind : std::int64_t { image = 1, video = 2, audio = 3 };

/// What a file is and what its metadata says.
struct MediaProbe {
  MediaKind kind = MediaKind::image;
  std::string uniformTypeIdentifier;  ///< by content, never by name
  std::string extension;              ///< by content, lower case, without a dot, for example "jpg"
  std::int64_t pixelWidth = 0;        ///< upright, pixels; 0 for audio
  std::int64_t pixelHeight = 0;
  int orientation = 1;              ///< of the stored pixels, 1 to 8
  double duration = 0;              ///< seconds; 0 for stills
  double frameRate = 0;             ///< average frames a second of a video, else 0
  double captureFrameRate = 0;      ///< a video that was stored already stretched: its capture rate
  std::uint64_t mediaSubtypes = 0;  ///< bits of PHAssetMediaSubtype that the content shows
  /// UTC, nanoseconds since 1970; none when the metadata has no valid date.
  std::optional<std::int64_t> creationDate;
  std::string contentIdentifier;  ///< pairs a still with its video; empty when there is none
  std::string burstIdentifier;    ///< empty when there is none
  bool burstPrimary = false;
  bool frontCamera = false;
  bool animated = false;
  bool raw = false;
  /// A movie inside a still (a motion photo): its first byte and length; length 0 for none.
  std::int64_t embeddedMovieOffset = 0;
  std::int64_t embeddedMovieLength = 0;
};

struct RenderRequest {
  enum class Fit : std::int64_t { fit = 0, fill = 1, original = 2 };
  MediaKind kind = MediaKind::image;
  double targetWidth = 0;  ///< pixels; infinite: unconstrained
  double targetHeight = 0;
  Fit fit = Fit::fit;
  /// `fill` only: cut to the target around the centre.
  bool crop = false;
  /// False: a rendering that shows what there is of a damaged file is good enough.
  bool failOnDamage = false;
  /// For an image that will be encoded again: its colours stay as they are, with the profile that
  /// tells what they are. Without one, or if that cannot be, they become sRGB as always.
  bool keepProfile = false;
};

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

enum class ImageFormat : std::int64_t { jpeg = 1, png = 2 };

/// Calls wait for their answer on the calling thread; any thread, several at once. A worker that
/// dies or is late is replaced, and its request answered with an error. The descriptions of errors
/// are plain sentences, to which `libraryError` may add a domain and code for a person.
class MediaService {
 public:
  virtual ~MediaService() = default;

  /// `name` is the file's own name, used where names carry meaning (screenshots and the like). The
  /// descriptor is read from offset 0 and stays the caller's. The error of a file that is no photo,
  /// video or audio is one plain line.
  virtual Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) = 0;

  virtual Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                              const RenderRequest& request) = 0;

  /// `quality` is 0 to 1, for JPEG.
  virtual Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                                    double quality) = 0;
};

}  // namespace quorvin
