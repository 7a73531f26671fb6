// Pictures: sizes, orientation, frames, and whether they decode at all.
#pragma once

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "media_worker/metadata/metadata_file.h"
#include "media_worker/reading/input_file.h"
#include "media_worker/reading/signature.h"

namespace quorvin {

/// A probe with the fields that the pixels tell: sizes, orientation, animated, and of HEIF the
/// subtypes depth and HDR. Decodes only as much as tells a real picture from a mere header.
/// Not for HEIF and raw photos.
Result<MediaProbe> probePixels(const InputFile& file, PictureFormat format,
                               const FileMetadata& metadata);

/// The same for the HEIF family, whose metadata is read on the way.
Result<MediaProbe> probeHeif(const InputFile& file, FileMetadata& metadata);

/// An error for a picture that cannot be used; the sentence says why.
Failure pictureError(std::string_view sentence);

/// An error when no picture can have this size, or none that is decoded.
std::optional<Failure> sizeError(std::int64_t width, std::int64_t height,
                                 std::int64_t most = kMaximumPixelCount);

}  // namespace quorvin
