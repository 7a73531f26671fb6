// What belongs together: the halves of a live photo and the members of a burst, by what cameras
// write into files and how they name them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace quorvin {

/// The name without its extension, and the extension without its dot, in lower case; a name whose
/// only dot comes first has no extension.
std::string nameStem(const std::string& name);
std::string lowerExtension(const std::string& name);

/// Extensions of stills that take a movie by its name, and the one of such a movie.
inline constexpr std::array<std::string_view, 4> kPairedStillExtensions = {"heic", "heif", "jpg",
                                                                           "jpeg"};
inline constexpr std::string_view kPairedMovieExtension = "mov";

/// True for a still and a movie that their names make a live photo, if they are in one folder.
bool namesMakeAPair(const std::string& still, const std::string& movie);

/// True when both have a content identifier, and not the same one: then names do not count.
bool identifiersDiffer(const std::string& one, const std::string& other);

/// "_BURST" and the digits after it; empty when the name has no such part.
std::string burstMark(const std::string& name);
/// True for the member of a burst by name that the camera chose.
bool isBurstCover(const std::string& name);
/// The identifier of the burst by name, the same each time, so that later members join.
std::string burstIdentifierOf(std::int64_t folder, const std::string& mark);

/// A number that stands for the folder.
std::int64_t folderNumber(const std::string& folder);

}  // namespace quorvin
