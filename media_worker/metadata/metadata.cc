#include "media_worker/metadata/metadata.h"

#include <algorithm>

#include "core/platform/photo_library.h"
#include "media_protocol/letter_case.h"
#include "media_worker/metadata/metadata_maker_note.h"

namespace quorvin {
namespace {

constexpr std::size_t kLargestMakerNote = 1 << 20;

MakerNote makerNote(const FileMetadata& file) {
  const auto found = file.exif.findKey(Exiv2::ExifKey("Exif.Photo.MakerNote"));
  const auto size = found == file.exif.end() ? 0 : static_cast<std::size_t>(found->size());
  if (size == 0 || size > kLargestMakerNote) return {};
  std::vector<std::uint8_t> bytes(size);
  found->copy(bytes.data(), Exiv2::bigEndian);
  return parseMakerNote(bytes);
}

/// The text of a comment, without the name of its character set.
std::string userComment(const FileMetadata& file) {
  const auto found = file.exif.findKey(Exiv2::ExifKey("Exif.Photo.UserComment"));
  if (found != file.exif.end()) {
    if (const auto* comment = dynamic_cast<const Exiv2::CommentValue*>(&found->value())) {
      const std::string text = comment->comment();
      return text.substr(0, text.find('\0'));
    }
  }
  const auto languages = file.xmp.findKey(Exiv2::XmpKey("Xmp.exif.UserComment"));
  return languages == file.xmp.end() ? "" : languages->toString(0);
}

bool hasNamespace(const FileMetadata& file, std::string_view prefix) {
  return std::any_of(file.xmp.begin(), file.xmp.end(), [prefix](const Exiv2::Xmpdatum& datum) {
    return datum.groupName() == prefix;
  });
}

bool hasGainMap(const FileMetadata& file) {
  return hasNamespace(file, "hdrgm") ||
         std::any_of(file.xmp.begin(), file.xmp.end(), [](const Exiv2::Xmpdatum& datum) {
           return datum.groupName() == "Container" && datum.tagName().ends_with("/Item:Semantic") &&
                  datum.toString() == "GainMap";
         });
}

std::uint64_t subtypes(const FileMetadata& file, const MakerNote& note) {
  // Exif's CustomRendered tells how the camera's software made the picture.
  enum Rendered { kHdr = 2, kHdrWithOriginal = 3, kPanorama = 6, kHdrPortrait = 7, kPortrait = 8 };
  const std::int64_t rendered = file.exifInteger("Exif.Photo.CustomRendered").value_or(0);
  std::uint64_t bits = 0;
  if (rendered == kPanorama || file.xmpText("Xmp.GPano.ProjectionType")) {
    bits |= PHAssetMediaSubtype::photoPanorama;
  }
  if (rendered == kHdr || rendered == kHdrWithOriginal || rendered == kHdrPortrait ||
      note.hdrKind == 3 || hasGainMap(file)) {
    bits |= PHAssetMediaSubtype::photoHDR;
  }
  if (rendered == kHdrPortrait || rendered == kPortrait || hasNamespace(file, "GDepth")) {
    bits |= PHAssetMediaSubtype::photoDepthEffect;
  }
  if (userComment(file) == "Screenshot") bits |= PHAssetMediaSubtype::photoScreenshot;
  return bits;
}

bool namesFrontCamera(std::string_view lens) {
  return lowerCase(lens).find("front") != std::string::npos;
}

}  // namespace

PhotoMetadata photoMetadata(const FileMetadata& file) {
  PhotoMetadata photo;
  try {
    const MakerNote note = makerNote(file);
    photo.creationDate = photoCreationDate(file);
    photo.contentIdentifier = note.contentIdentifier;
    photo.burstIdentifier = file.xmpText("Xmp.GCamera.BurstID").value_or("");
    if (photo.burstIdentifier.empty()) photo.burstIdentifier = note.burstIdentifier;
    const std::string primary = file.xmpText("Xmp.GCamera.BurstPrimary").value_or("");
    photo.burstPrimary = !photo.burstIdentifier.empty() &&
                         (primary == "1" || primary == "True" || primary == "true");
    photo.subtypes = subtypes(file, note);
    photo.frontCamera =
        note.frontCamera || namesFrontCamera(file.exifText("Exif.Photo.LensModel").value_or(""));
    photo.movie = announcedMovie(file);
  } catch (const std::exception&) {
    // Values that the library stumbles over: the rest stays unsaid.
  }
  return photo;
}

}  // namespace quorvin
