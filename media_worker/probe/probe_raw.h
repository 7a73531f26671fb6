// Raw photos: what the sensor saw, in the camera's own format.
#pragma once

#include <optional>
#include <string>

#include "media_protocol/failure.h"
#include "media_protocol/requests.h"
#include "media_worker/metadata/metadata_file.h"
#include "media_worker/reading/signature.h"

namespace quorvin {

/// The type of a file on TIFF's plan that holds a sensor's data; none for an ordinary TIFF.
std::optional<ContentType> rawTypeOf(const FileMetadata& metadata);

/// A probe with the sizes and the orientation that a raw photo's tags tell.
Result<MediaProbe> probeRaw(const FileMetadata& metadata);

/// The file's own extension where it is one of raw photos, in lower case, else "raw".
std::string rawExtension(const std::string& name);

}  // namespace quorvin
