// Reads any text as the XMP of a photo, and as a date. What is made of it is such as there can be,
// and reading it ends.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/require.h"
#include "media_worker/metadata/metadata.h"
#include "media_worker/metadata/metadata_dates.h"

namespace quorvin {
namespace {

void checkPacket(const std::string& packet) {
  FileMetadata metadata;
  addXmp(packet, metadata);
  const PhotoMetadata photo = photoMetadata(metadata);
  require(!photo.burstPrimary || !photo.burstIdentifier.empty(), "a burst's face is in a burst");
  require(photo.contentIdentifier.empty() && !photo.frontCamera, "XMP does not tell that");
  if (!photo.movie) return;
  require(photo.movie->length > 0 && photo.movie->fromEnd >= photo.movie->length,
          "a movie is in the file");
}

void checkDate(const std::string& text) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  constexpr std::int64_t kFurthestZone = 14 * 3600;
  const auto isZone = [](const std::optional<std::int64_t>& offset) {
    return !offset || (*offset >= -kFurthestZone && *offset <= kFurthestZone);
  };
  require(isZone(parseOffset(text)), "there is such a zone");
  const std::int64_t fraction = parseSubSeconds(text);
  require(fraction >= 0 && fraction < kSecond, "it is part of a second");
  const auto date = parseDate(text);
  if (!date) return;
  require(date->nanoseconds >= 0 && date->nanoseconds < kSecond, "it is part of a second");
  require(isZone(date->offset), "there is such a zone");
  constexpr std::int64_t kYear1 = -62'135'596'800;
  constexpr std::int64_t kYear10000 = 253'402'300'800;
  require(date->seconds >= kYear1 && date->seconds < kYear10000, "it has a year of four digits");
  const auto moment = toNanoseconds(*date);
  require(!moment || !date->offset ||
              *moment == (date->seconds - *date->offset) * kSecond + date->nanoseconds,
          "a moment is that of its clock");
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  quorvin::checkPacket(text);
  quorvin::checkDate(text);
  return 0;
}
