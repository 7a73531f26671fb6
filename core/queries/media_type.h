// The caller's media filter, and what the queries share about fetching by it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/manager/arguments.h"
#include "core/platform/photo_library.h"

namespace quorvin {

/// `Image`, `Video` and `Audio` carry the integers of `PHAssetMediaType`. What `All` means is each
/// query's own.
enum class MediaType : std::int64_t { All = 0, Image = 1, Video = 2, Audio = 3 };

constexpr std::optional<MediaType> mediaTypeFromRawValue(std::int64_t rawValue) {
  if (rawValue < 0 || rawValue > 3) return std::nullopt;
  return static_cast<MediaType>(rawValue);
}

/// Reads a filter; false also when the integer is none.
inline bool readMediaType(const Arguments& arguments, std::string_view key, MediaType& out) {
  std::int64_t rawValue = 0;
  if (!arguments.integer(key, rawValue)) return false;
  const auto mediaType = mediaTypeFromRawValue(rawValue);
  if (mediaType) out = *mediaType;
  return mediaType.has_value();
}

inline constexpr std::string_view kOneMediaTypePredicate = "mediaType = %d";

/// "mediaType = %d" with the filter's value.
inline NSPredicate oneMediaTypePredicate(MediaType mediaType) {
  return {std::string(kOneMediaTypePredicate), {static_cast<std::int32_t>(mediaType)}};
}

/// `pairFormat` with the values of image and video.
inline NSPredicate imageOrVideoPredicate(std::string_view pairFormat) {
  return {
      std::string(pairFormat),
      {static_cast<std::int32_t>(MediaType::Image), static_cast<std::int32_t>(MediaType::Video)}};
}

/// The values of "sort" that ask for an order; any other integer leaves the collection's own.
inline constexpr std::int64_t kSortNewestFirst = 0;
inline constexpr std::int64_t kSortOldestFirst = 1;

inline void sortByCreationDate(PHFetchOptions& options, std::int64_t sort) {
  if (sort != kSortNewestFirst && sort != kSortOldestFirst) return;
  options.sortDescriptors = {{"creationDate", sort == kSortOldestFirst}};
}

}  // namespace quorvin
