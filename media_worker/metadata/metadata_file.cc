#include "media_worker/metadata/metadata_file.h"

#include "media_worker/metadata/exiv2_file.h"
#include "media_worker/metadata/exiv2_versions.h"

namespace quorvin {
namespace {

/// Exif texts are zero-terminated, and padded at that.
std::string cutAtZero(std::string text) {
  text.resize(std::min(text.find('\0'), text.size()));
  return text;
}

/// The prefixes by which this program asks for XMP of vocabularies that the library does not know,
/// whatever prefixes a file gives them.
constexpr std::pair<const char*, const char*> kNamespaces[] = {
    {"http://ns.google.com/photos/1.0/camera/", "GCamera"},
    {"http://ns.google.com/photos/1.0/container/", "Container"},
    {"http://ns.google.com/photos/1.0/container/item/", "Item"},
    {"http://ns.google.com/photos/1.0/depthmap/", "GDepth"},
    {"http://ns.adobe.com/hdr-gain-map/1.0/", "hdrgm"},
    {"https://quorvin.dev/ns/1.0/", "quorvin"},
};

}  // namespace

void initializeMetadata() {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  Exiv2::LogMsg::setHandler(nullptr);
  Exiv2::XmpParser::initialize();
  enableHeif();
  for (const auto& [uri, prefix] : kNamespaces) Exiv2::XmpProperties::registerNs(uri, prefix);
}

std::string metadataLibraryVersion() {
  return Exiv2::versionString();
}

int FileMetadata::orientation() const {
  const auto isTurn = [](std::int64_t value) { return value >= 1 && value <= 8; };
  const std::int64_t tag = exifInteger("Exif.Image.Orientation").value_or(0);
  if (isTurn(tag)) return static_cast<int>(tag);
  const std::string text = xmpText("Xmp.tiff.Orientation").value_or("");
  return text.size() == 1 && isTurn(text[0] - '0') ? text[0] - '0' : 1;
}

void addExif(std::span<const std::uint8_t> block, FileMetadata& metadata) {
  try {
    Exiv2::ExifParser::decode(metadata.exif, block.data(),
                              static_cast<std::uint32_t>(block.size()));
  } catch (const std::exception&) {
    // What was read before the damage stays.
  }
}

void addXmp(const std::string& packet, FileMetadata& metadata) {
  try {
    Exiv2::XmpParser::decode(metadata.xmp, packet);
  } catch (const std::exception&) {
    // What was read before the damage stays.
  }
}

FileMetadata readMetadata(const InputFile& file, int fd) {
  FileMetadata metadata;
  try {
    const auto image = openWithExiv2(file, fd);
    try {
      image->readMetadata();
    } catch (const std::exception&) {
      // What was read before the damage stays.
    }
    metadata.exif = image->exifData();
    metadata.xmp = image->xmpData();
    metadata.pixelWidth = image->pixelWidth();
    metadata.pixelHeight = image->pixelHeight();
  } catch (const std::exception&) {
    // A kind of file without metadata, or with none that can be read.
  }
  return metadata;
}

std::optional<std::string> FileMetadata::exifText(const std::string& key) const {
  try {
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    if (found == exif.end() || found->count() == 0) return std::nullopt;
    return cutAtZero(found->toString());
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<std::int64_t> FileMetadata::exifInteger(const std::string& key) const {
  try {
    const auto found = exif.findKey(Exiv2::ExifKey(key));
    if (found == exif.end() || found->count() == 0) return std::nullopt;
    const std::int64_t value = integerOf(*found);
    return found->value().ok() ? std::optional(value) : std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

std::optional<std::string> FileMetadata::xmpText(const std::string& key) const {
  try {
    const auto found = xmp.findKey(Exiv2::XmpKey(key));
    if (found == xmp.end() || found->count() == 0) return std::nullopt;
    return found->toString();
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace quorvin
