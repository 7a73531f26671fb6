// Writing assets to the catalogue. Everything here runs inside a change.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/asset_resources.h"
#include "core/platform/foundation.h"
#include "core/platform/value.h"
#include "platform_linux/library/catalogue/sqlite.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

struct NewResource {
  PHAssetResourceType type = PHAssetResourceType::photo;
  std::string name;  ///< valid UTF-8
  std::string uniformTypeIdentifier;
  std::string path;  ///< relative to `originals/`
  std::int64_t size = 0;
  std::string hash;
  int orientation = 1;
};

struct NewAsset {
  std::string identifier;
  MediaProbe probe;
  std::int64_t modified = 0;  ///< nanoseconds since 1970; also the creation date if there is none
  std::int64_t added = 0;
  std::optional<std::int64_t> sourceFolder;  ///< stands for the folder that the file came from
};

/// Row ids as the JSON list that statements with `json_each` take.
std::string listOfRows(const std::vector<std::int64_t>& rows);

/// The new asset's row id; none when writing failed.
std::optional<std::int64_t> insertAsset(Database& database, const NewAsset& asset);

/// Adds the resource behind those that the asset has, in the library's order of types. False when
/// writing failed.
bool insertResource(Database& database, std::int64_t asset, const NewResource& resource);

/// Makes the photo a live photo by this video.
bool insertPairedVideo(Database& database, std::int64_t photo, NewResource video);

/// Makes an asset that was a video alone a live photo of the new still, whose paired video it
/// becomes. It keeps its identifier, its albums and its marks.
bool joinStill(Database& database, std::int64_t video, const NewAsset& still,
               const NewResource& photo);

enum class BurstChoice {
  keep,  ///< a representative stays one unless the camera's own choice joins it
  anew,  ///< the camera's choice, or else the first by date and name
};
/// Chooses who represents the burst; where nobody does, anew.
bool settleBurst(Database& database, const std::string& burstIdentifier, BurstChoice choice);
/// False also when the burst has no member.
bool isRepresented(Database& database, const std::string& burstIdentifier);

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

/// A user album at the end of the list of albums. Its row id; none when writing failed.
std::optional<std::int64_t> insertAlbum(Database& database, const std::string& identifier,
                                        const std::string& title);

/// An album of this title, the oldest if there are several; made when there is none. None when
/// writing failed.
std::optional<std::int64_t> albumWithTitle(Database& database, const std::string& title);

/// Adds the asset to the end of the album, unless it is in it already.
bool addToAlbum(Database& database, std::int64_t album, std::int64_t asset);

/// An asset, not deleted, that holds this content.
struct KnownContent {
  std::int64_t asset = 0;
  PHAssetResourceType type = PHAssetResourceType::photo;
  std::string path;  ///< relative to `originals/`
};
/// The resources that have this size and hash. The bytes are still to be compared.
std::vector<KnownContent> findContent(Database& database, std::int64_t size,
                                      const std::string& hash);

}  // namespace quorvin
