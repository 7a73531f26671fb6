// Every error text that can cross the channel. A text that ends in a blank is followed directly by
// an identifier, a path, or an error's textual form.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/platform/foundation.h"
#include "core/platform/value.h"

namespace quorvin::errors {

inline constexpr std::string_view kCode = "Error";

inline constexpr std::string_view kInvalidArguments = "Invalid arguments";
inline constexpr std::string_view kErrorArguments = "Error arguments";
inline constexpr std::string_view kGalleryNotFound = "Gallery not found id = ";
inline constexpr std::string_view kAssetNotFoundForGallery = "Asset not found for gallery id = ";
inline constexpr std::string_view kAssetNotFound = "Asset not found id = ";
/// Of any call that reads the library.
inline constexpr std::string_view kFailedToReadLibrary = "Failed to read the library";
inline constexpr std::string_view kFailedToLoadThumbnail = "Failed to load thumbnail";

// Images

inline constexpr std::string_view kFailedToLoadImageData = "Failed to load image data";
inline constexpr std::string_view kConversionFailed = "HEIC to JPEG conversion failed";
inline constexpr std::string_view kCreateTempDirFailed = "Create temp dir failed";
inline constexpr std::string_view kNoPhotoResource = "No photo resource found";
inline constexpr std::string_view kImageRequestCancelled = "Image request cancelled";
inline constexpr std::string_view kFailedToGenerateImage = "Failed to generate image";
inline constexpr std::string_view kFailedToGenerateJpeg = "Failed to generate medium quality JPEG";
inline constexpr std::string_view kFailedToSaveImage = "Failed to save image";
inline constexpr std::string_view kSaveTemporaryImageError = "Save temporary image error: ";

// Videos

inline constexpr std::string_view kFailedToLoadAVAsset = "Failed to load AVAsset";
inline constexpr std::string_view kUnexpectedAVAssetType = "Unexpected AVAsset type";
inline constexpr std::string_view kFailedToCreateVideoFolder = "Failed to create temp video folder";
inline constexpr std::string_view kFailedToCreateExportSession = "Failed to create export session";
inline constexpr std::string_view kExportFailed = "Export failed";

// Live photos

inline constexpr std::string_view kAssetIsNotLivePhoto = "Asset is not live photo id = ";
inline constexpr std::string_view kLivePhotoRequestCancelled = "Live photo request cancelled";
inline constexpr std::string_view kFailedToLoadLivePhoto = "Failed to load live photo";
inline constexpr std::string_view kNoLivePhoto = "Failed to load live photo id = ";
inline constexpr std::string_view kNoPairedVideo =
    "No paired video resource found for live photo id = ";
inline constexpr std::string_view kFailedToCreateTempDirectory = "Failed to create temp directory";
inline constexpr std::string_view kFailedToOverwrite = "Failed to overwrite file at path ";
/// Also of an image whose file could not be copied.
inline constexpr std::string_view kFailedToExportLivePhotoVideo =
    "Failed to export live photo video id = ";

// Changes

inline constexpr std::string_view kDeletingAssetsError = "Deleting assets error";
inline constexpr std::string_view kCreateAlbumError = "Create album error";
inline constexpr std::string_view kSaveImageError = "Save image error";
inline constexpr std::string_view kSaveVideoError = "Save video error";

// Details that tell apart faults of one message

inline constexpr Literal kNilPlaceholder = "nil placeholder"_lit;
inline constexpr Literal kFetchResultError = "fetch result error"_lit;
inline constexpr Literal kCollectionNotFound = "Collection not found"_lit;
inline constexpr Literal kCollectionRequestChangeError = "Collection request change error"_lit;
inline constexpr Literal kSavedAssetNotFound = "Asset not found"_lit;

/// The text followed by an identifier, a path, or an error's textual form.
inline std::string withId(std::string_view text, std::string_view identifier) {
  return std::string(text).append(identifier);
}

/// The error's description; null without an error.
inline Value detailsOf(const std::optional<NSError>& error) {
  return error ? Value(error->localizedDescription) : Value();
}

}  // namespace quorvin::errors
