// Every error text that can cross the channel. A text that ends in a blank is followed directly by
// an identifier.
#pragma once

#include <string>
#include <string_view>

namespace quorvin::errors {

inline constexpr std::string_view kCode = "Error";

inline constexpr std::string_view kInvalidArguments = "Invalid arguments";
inline constexpr std::string_view kErrorArguments = "Error arguments";
inline constexpr std::string_view kGalleryNotFound = "Gallery not found id = ";
inline constexpr std::string_view kAssetNotFoundForGallery = "Asset not found for gallery id = ";
inline constexpr std::string_view kAssetNotFound = "Asset not found id = ";
inline constexpr std::string_view kFailedToLoadThumbnail = "Failed to load thumbnail";

/// The text followed by the identifier.
inline std::string withId(std::string_view text, std::string_view identifier) {
  return std::string(text).append(identifier);
}

}  // namespace quorvin::errors
