// Probes of files in memory, and pictures with metadata.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "testing/media/heif_pictures.h"

namespace quorvin {

using Tags = std::vector<std::pair<std::string, std::string>>;

/// Probes the bytes as a file of this name.
Result<MediaProbe> probeBytes(const Bytes& bytes, const std::string& name = "file");

/// The probe of media that must be good; fails the test, and gives an empty one, when it is not.
MediaProbe probed(const Bytes& bytes, const std::string& name = "file");

/// What the content of a file says of it.
struct ProbedContent {
  MediaKind kind = MediaKind::image;
  const char* identifier = "";
  const char* extension = "";
  std::int64_t width = 0;
  std::int64_t height = 0;
};
/// The probe of media that must be good and be this, and stand upright.
MediaProbe probedAs(const ProbedContent& content, const Bytes& bytes,
                    const std::string& name = "file");

/// The sentence with which the bytes are refused; empty when they are not.
std::string refusal(const Bytes& bytes, const std::string& name = "file");

/// A picture with some content, saved by libvips: ".jpg", ".png", ".gif", ".webp", ".tif", with
/// its options ("[interlace]").
Bytes savedPicture(const std::string& format, int width = 48, int height = 32);

/// The picture with these tags, by their Exiv2 keys ("Exif.Photo.LensModel", "Xmp.xmp.CreateDate").
Bytes withTags(const Bytes& picture, const Tags& exif, const Tags& xmp = {});

/// The picture with this JPEG as the preview in its Exif.
Bytes withExifPreview(const Bytes& picture, const Bytes& preview);

/// An XMP packet around these properties of one rdf:Description.
std::string xmpPacket(const std::string& description);

/// The picture with an XMP packet around these properties of one rdf:Description.
Bytes withXmpPacket(const Bytes& picture, const std::string& description);

/// The picture with this maker note.
Bytes withMakerNote(const Bytes& picture, const Bytes& note);

struct NoteEntry {
  std::uint16_t tag;
  std::uint16_t type;  ///< 2: text, 3: short, 9: signed long
  std::string text;    ///< of a text
  std::int32_t number = 0;
};

/// A maker note of the phones whose notes are read.
Bytes makerNote(const std::vector<NoteEntry>& entries);

/// HEIC of 64 x 48 pixels.
Bytes smallHeic(const HeifOptions& options = {});

/// A second of moving test picture, 64 x 48, with `arguments` for the ffmpeg program's output.
Bytes smallMovie(const std::string& arguments, const std::string& extension);

/// Nanoseconds since 1970 of a UTC date "YYYY-MM-DDThh:mm:ss[.fraction]Z".
std::int64_t utc(const std::string& text);

}  // namespace quorvin
