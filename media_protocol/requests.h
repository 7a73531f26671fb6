// What a media worker can be asked, and what it answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "media_protocol/side_notes.h"
#include "media_protocol/time_map.h"

namespace quorvin {

/// `side`: no medium, but something that is said of the one beside which the file lies.
enum class MediaKind : std::int64_t { image = 1, video = 2, audio = 3, side = 4 };

/// Bounds of what is told of a file: bytes of a text, seconds, frames a second.
inline constexpr std::size_t kLongestText = 1024;
inline constexpr double kMostSeconds = 1e9;
inline constexpr double kMostFrames = 1e6;

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
  SideNotes notes;  ///< of `side` alone, whose `creationDate` is that of its photo or video
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
  /// Made of a preview that the picture embeds, or not at all.
  bool previewAlone = false;
  /// The file is a smaller rendering of a picture of this size, upright, which the size of the
  /// result is reckoned from. 0: the file is the picture.
  std::int64_t fullWidth = 0;
  std::int64_t fullHeight = 0;
};

/// What a file is; its descriptor goes with the packet.
struct ProbeRequest {
  std::string name;  ///< the file's own name
  friend bool operator==(const ProbeRequest&, const ProbeRequest&) = default;
};

enum class ImageFormat : std::int64_t { jpeg = 1, png = 2 };

/// No image of more pixels is decoded or encoded.
inline constexpr std::int64_t kMaximumPixelCount = 1'000'000'000;

/// No colour profile that is larger stays with its pixels: they are converted.
inline constexpr std::int64_t kMaximumProfileSize = 1 << 20;

/// How pixels lie in a memory file: rows without padding, 3 or 4 interleaved bytes a pixel; behind
/// them the ICC profile of their colours, when these are not sRGB.
struct PixelLayout {
  std::int64_t width = 0;
  std::int64_t height = 0;
  int channels = 0;
  std::int64_t profileSize = 0;

  std::size_t pixelCount() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
  std::size_t pixelBytes() const { return pixelCount() * static_cast<std::size_t>(channels); }
  /// Of the whole file.
  std::size_t byteCount() const { return pixelBytes() + static_cast<std::size_t>(profileSize); }
  friend bool operator==(const PixelLayout&, const PixelLayout&) = default;
};

/// Pixels to be encoded; their memory file goes with the packet.
struct EncodeRequest {
  ImageFormat format = ImageFormat::jpeg;
  double quality = 1;  ///< 0 to 1, for JPEG
  PixelLayout layout;
  friend bool operator==(const EncodeRequest&, const EncodeRequest&) = default;
};

enum class VideoPreset : std::int64_t {
  passthrough = 1,     ///< the coded streams as they are
  highestQuality = 2,  ///< encoded again at the size of the source
  mediumQuality = 3,   ///< encoded again, small
};

enum class VideoContainer : std::int64_t { quickTime = 1, mpeg4 = 2 };

struct VideoExportRequest {
  VideoPreset preset = VideoPreset::passthrough;
  VideoContainer container = VideoContainer::quickTime;
  bool indexFirst = false;  ///< the index before the samples, so that playing can start early
  TimeMap timeMap;          ///< empty: plays as it is
  friend bool operator==(const VideoExportRequest&, const VideoExportRequest&) = default;
};

/// Which containers an export of a video can have.
struct ExportContainersRequest {
  VideoPreset preset = VideoPreset::passthrough;
  friend bool operator==(const ExportContainersRequest&, const ExportContainersRequest&) = default;
};

/// XMP for a photo or video that leaves a library. The packet to begin with, whose other properties
/// stay, goes with it as a descriptor where there is one.
struct WriteXmpRequest {
  std::optional<std::int64_t> creationDate;  ///< UTC, nanoseconds since 1970
  SideNotes notes;
  friend bool operator==(const WriteXmpRequest&, const WriteXmpRequest&) = default;
};

/// How the worker itself stands; no descriptor goes with the packet.
struct DescribeRequest {
  friend bool operator==(DescribeRequest, DescribeRequest) = default;
};

using WorkerRequest =
    std::variant<ProbeRequest, RenderRequest, EncodeRequest, ExportContainersRequest,
                 VideoExportRequest, WriteXmpRequest, DescribeRequest>;

/// A name and what is to be said of it.
struct NamedText {
  std::string name;
  std::string text;
  friend bool operator==(const NamedText&, const NamedText&) = default;
};

struct WorkerDescription {
  std::vector<NamedText> layers;          ///< of its isolation; why one is absent, or nothing
  std::vector<NamedText> libraries;       ///< and their versions
  std::vector<std::string> refusedCalls;  ///< names of calls to the system, since it started
  friend bool operator==(const WorkerDescription&, const WorkerDescription&) = default;
};

}  // namespace quorvin
