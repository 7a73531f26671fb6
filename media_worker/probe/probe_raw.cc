#include "media_worker/probe/probe_raw.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "media_protocol/letter_case.h"
#include "media_worker/probe/probe_picture.h"
#include "media_worker/reading/orientation.h"

namespace quorvin {
namespace {

bool holdsSensorData(const FileMetadata& metadata) {
  enum Photometric { kColourFilterArray = 32803, kLinearRaw = 34892 };
  for (const char* group : {"Image", "SubImage1", "SubImage2", "SubImage3", "SubImage4",
                            "SubImage5", "SubImage6", "SubImage7", "SubImage8", "SubImage9"}) {
    const auto photometric =
        metadata.exifInteger(std::string("Exif.") + group + ".PhotometricInterpretation");
    if (photometric == kColourFilterArray || photometric == kLinearRaw) return true;
  }
  return false;
}

/// The size that the reader finds, else the first that a tag tells.
std::pair<std::int64_t, std::int64_t> storedSize(const FileMetadata& metadata) {
  if (metadata.pixelWidth > 0 && metadata.pixelHeight > 0) {
    return {metadata.pixelWidth, metadata.pixelHeight};
  }
  constexpr std::pair<const char*, const char*> kTags[] = {
      {"Exif.Photo.PixelXDimension", "Exif.Photo.PixelYDimension"},
      {"Exif.Image.ImageWidth", "Exif.Image.ImageLength"}};
  for (const auto& [width, height] : kTags) {
    const auto x = metadata.exifInteger(width);
    const auto y = metadata.exifInteger(height);
    if (x && y) return {*x, *y};
  }
  return {0, 0};
}

}  // namespace

std::optional<ContentType> rawTypeOf(const FileMetadata& metadata) {
  if (metadata.exifText("Exif.Image.DNGVersion")) {
    return ContentType{"com.adobe.raw-image", "dng"};
  }
  if (!holdsSensorData(metadata)) return std::nullopt;
  const std::string make = lowerCase(metadata.exifText("Exif.Image.Make").value_or(""));
  if (make.starts_with("nikon")) return ContentType{"com.nikon.raw-image", "nef"};
  if (make.starts_with("sony")) return ContentType{"com.sony.arw-raw-image", "arw"};
  return ContentType{"public.camera-raw-image", ""};
}

Result<MediaProbe> probeRaw(const FileMetadata& metadata) {
  MediaProbe probe;
  probe.raw = true;
  probe.orientation = metadata.orientation();
  const auto [width, height] = storedSize(metadata);
  if (auto error = sizeError(width, height)) return *std::move(error);
  std::tie(probe.pixelWidth, probe.pixelHeight) = uprightSize(width, height, probe.orientation);
  return probe;
}

std::string rawExtension(const std::string& name) {
  constexpr std::string_view kKnown[] = {"3fr", "dcr", "erf", "fff", "iiq", "kdc", "mef",
                                         "mos", "nrw", "pef", "rwl", "sr2", "srf", "srw"};
  const std::size_t dot = name.rfind('.');
  const std::string extension = dot == std::string::npos ? "" : lowerCase(name.substr(dot + 1));
  return std::find(std::begin(kKnown), std::end(kKnown), extension) != std::end(kKnown) ? extension
                                                                                        : "raw";
}

}  // namespace quorvin
