// Halves of live photos in the catalogue that could still get the other one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// What the camera wrote into both halves of the asset; empty when it wrote nothing.
std::string contentIdentifierOf(Database& database, std::int64_t asset);

/// The photo without a video, not deleted, that this movie belongs to: by content identifier, else
/// by names within the folder. A row id.
std::optional<std::int64_t> findWaitingPhoto(Database& database,
                                             const std::string& contentIdentifier,
                                             std::int64_t folder, const std::string& movieName);
/// The same for the movie of a photo.
std::optional<std::int64_t> findWaitingVideo(Database& database,
                                             const std::string& contentIdentifier,
                                             std::int64_t folder, const std::string& photoName);
/// What can be paired: a photo without a video, or a video alone.
bool isWaitingPhoto(Database& database, std::int64_t asset);
bool isWaitingVideo(Database& database, std::int64_t asset);

}  // namespace quorvin
