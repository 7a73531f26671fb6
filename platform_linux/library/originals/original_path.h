// How originals are named.
#pragma once

#include <string>
#include <string_view>

namespace quorvin {

/// The path below `originals/` of a file of the asset with this UUID, 36 characters in upper case:
/// a folder of its first two characters, and in it the UUID, "-9" for the movie of a live photo,
/// and the extension, which has no dot and may be empty. An extension that is not plain is left
/// out.
std::string originalPath(std::string_view uuid, bool isPaired, std::string_view extension);

/// At most ten letters and digits, and at least one.
bool isPlainExtension(std::string_view extension);

/// True for an identifier of the form that assets have.
bool isAssetIdentifier(std::string_view identifier);

/// True for the paths that `originalPath` makes, with the number of any resource type for the 9. A
/// library that comes from elsewhere may hold others: nothing is to be looked for there.
bool resourcePathIsOurs(std::string_view path);

/// Of such a path. An asset's files may have different ones.
std::string_view uuidOfOriginal(std::string_view path);

}  // namespace quorvin
