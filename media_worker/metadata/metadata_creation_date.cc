// When a still was taken.
#include <cmath>
#include <string>

#include "media_worker/metadata/metadata.h"
#include "media_worker/metadata/metadata_dates.h"

namespace quorvin {
namespace {

/// The GPS clock's date and time, seconds since 1970.
std::optional<std::int64_t> gpsTime(const FileMetadata& file) {
  const auto day = parseDate(file.exifText("Exif.GPSInfo.GPSDateStamp").value_or(""));
  const auto time = file.exif.findKey(Exiv2::ExifKey("Exif.GPSInfo.GPSTimeStamp"));
  if (!day || time == file.exif.end() || time->count() != 3) return std::nullopt;
  double seconds = 0;
  for (int part = 0; part < 3; ++part) {
    const auto [numerator, denominator] = time->toRational(part);
    if (denominator == 0) return std::nullopt;
    seconds = seconds * 60 + static_cast<double>(numerator) / denominator;
  }
  if (!(seconds >= 0 && seconds <= 86400)) return std::nullopt;
  return day->seconds + std::llround(seconds);
}

/// Fixes a date in time, with the GPS clock's help where it has no offset of its own.
std::optional<std::int64_t> resolved(WrittenDate date, const FileMetadata& file) {
  if (!date.offset) {
    if (const auto gps = gpsTime(file)) date.offset = offsetBetween(date.seconds, *gps);
  }
  return toNanoseconds(date);
}

struct ExifDateTags {
  const char* date;
  const char* fraction;
  const char* offset;
};

std::optional<std::int64_t> exifDate(const ExifDateTags& tags, const FileMetadata& file) {
  auto date = parseDate(file.exifText(tags.date).value_or(""));
  if (!date || !date->hasTime) return std::nullopt;
  if (const auto fraction = file.exifText(tags.fraction)) {
    date->nanoseconds = parseSubSeconds(*fraction);
  }
  if (const auto offset = parseOffset(file.exifText(tags.offset).value_or(""))) {
    date->offset = offset;
  }
  return resolved(*date, file);
}

}  // namespace

std::optional<std::int64_t> photoCreationDate(const FileMetadata& file) {
  // The plain Exif date is left out: it tells the last change.
  constexpr ExifDateTags kExifDates[] = {
      {"Exif.Photo.DateTimeOriginal", "Exif.Photo.SubSecTimeOriginal",
       "Exif.Photo.OffsetTimeOriginal"},
      {"Exif.Photo.DateTimeDigitized", "Exif.Photo.SubSecTimeDigitized",
       "Exif.Photo.OffsetTimeDigitized"},
  };
  for (const ExifDateTags& tags : kExifDates) {
    if (const auto date = exifDate(tags, file)) return date;
  }
  for (const char* key :
       {"Xmp.photoshop.DateCreated", "Xmp.exif.DateTimeOriginal", "Xmp.xmp.CreateDate"}) {
    if (const auto date = parseDate(file.xmpText(key).value_or(""))) {
      if (const auto time = resolved(*date, file)) return time;
    }
  }
  return std::nullopt;
}

}  // namespace quorvin
