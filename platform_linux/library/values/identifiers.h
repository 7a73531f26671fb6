// Identifiers of assets and collections.
#pragma once

#include <string>

namespace quorvin {

/// A random version-4 UUID in upper case, 36 characters.
std::string newUuid();
std::string newAssetIdentifier();       ///< a new UUID and "/L0/001"
std::string newCollectionIdentifier();  ///< a new UUID and "/L0/040"

}  // namespace quorvin
