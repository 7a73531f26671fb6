#include "media_worker/metadata/metadata_movie.h"

#include <charconv>
#include <cmath>
#include <string_view>

#include "media_worker/metadata/metadata_dates.h"

namespace quorvin {
namespace {

constexpr std::int64_t kSecondsPerDay = 86400;

/// The value of `key`; empty when it is absent.
std::string_view tag(const MovieTags& tags, std::string_view key) {
  for (const auto& [name, value] : tags) {
    if (name == key) return value;
  }
  return {};
}

/// The value of the item "com.MAKER.quicktime.…" with this ending.
std::string_view makerTag(const MovieTags& tags, std::string_view ending) {
  for (const auto& [name, value] : tags) {
    if (name.starts_with("com.") && name.ends_with(ending)) return value;
  }
  return {};
}

std::optional<std::int64_t> itemDate(const MovieTags& tags) {
  const auto date = parseDate(makerTag(tags, ".quicktime.creationdate"));
  return date ? toNanoseconds(*date) : std::nullopt;
}

/// The date in the container's header, which is UTC.
std::optional<std::int64_t> headerDate(const MovieTags& tags, std::int64_t now) {
  const auto date = parseDate(tag(tags, "creation_time"));
  if (!date || !date->hasTime) return std::nullopt;
  // Headers count from 1904, and the reader takes what would be before 1970 for seconds since
  // then: 1965 becomes 2031, and a clock that was never set becomes the first day of 1970.
  if (date->seconds > now + kSecondsPerDay) return std::nullopt;
  if (date->seconds >= 0 && date->seconds < kSecondsPerDay) return std::nullopt;
  constexpr std::int64_t kEpoch1904 = -2'082'844'800;
  if (date->seconds == kEpoch1904) return std::nullopt;
  return toNanoseconds(*date);
}

double positiveNumber(std::string_view text) {
  double value = 0;
  const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && std::isfinite(value) && value > 0 ? value : 0;
}

}  // namespace

MovieMetadata movieMetadata(const MovieTags& tags, std::int64_t now) {
  MovieMetadata metadata;
  metadata.creationDate = itemDate(tags);
  if (!metadata.creationDate) metadata.creationDate = headerDate(tags, now);
  metadata.contentIdentifier = makerTag(tags, ".quicktime.content.identifier");
  metadata.captureFrameRate = positiveNumber(tag(tags, "com.android.capture.fps"));
  return metadata;
}

}  // namespace quorvin
